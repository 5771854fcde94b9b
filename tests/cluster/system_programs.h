// SPDX-License-Identifier: Apache-2.0
// Finds the system administrator's programs, which are not in the PATH of ordinary users.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace hb_test {

// The current PATH with the system's directories in front.
Child_Process::Environment with_system_path();
// The first program that is not found by this PATH.
std::optional<std::string> missing_program(const std::vector<std::string> &programs);

} // namespace hb_test
