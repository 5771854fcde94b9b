// SPDX-License-Identifier: Apache-2.0
// Checks that no other user can replace files in a directory.
#pragma once

#include <string>

namespace wispd {

// Returns why another user could replace a file at this absolute path; empty when it is safe. Directories
// on the way need trusted owners, and only trusted writers unless sticky. Missing directories are skipped.
std::string why_unsafe(const std::string &path);

} // namespace wispd
