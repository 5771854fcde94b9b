// SPDX-License-Identifier: Apache-2.0
// Creates first-failure identifiers.
#pragma once

#include <string>

namespace wispd {

// Returns a new identifier. Logs the error and returns an empty text when this fails.
std::string make_failure_id();

} // namespace wispd
