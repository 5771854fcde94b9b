// SPDX-License-Identifier: Apache-2.0
// Reads files that a request names. A request must not make wispd wait, disturb a device, or reveal a file's
// content. A file that others can write is not trusted as the administrator's input.
#pragma once

#include <cstddef>
#include <string>

namespace wispd {

inline constexpr std::size_t NAMED_FILE_LARGEST = 4 * 1024 * 1024;

// Returns the content of a regular file, without waiting. Root or this process's user must own the file,
// without write access for others. It must not be a symbolic link. Throws File_Error.
std::string read_named_file(const std::string &path);

} // namespace wispd
