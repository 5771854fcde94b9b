// SPDX-License-Identifier: Apache-2.0
// Which daemon the library connects to.
#pragma once

#include <string>

namespace hbctl {

// Makes the library use exactly this path. Throws std::runtime_error in a program with more rights than its caller: the
// library reads no environment there.
void use_daemon_path(const std::string &path);

} // namespace hbctl
