// SPDX-License-Identifier: Apache-2.0
// Whole files as text.
#pragma once

#include <string>

namespace manual {

// Both throw std::runtime_error.
std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text);

} // namespace manual
