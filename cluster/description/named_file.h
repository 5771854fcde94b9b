// Files that a request names. Who makes requests could name a file to have wispd wait for it, disturb a device, or show
// what it holds; and what others can write is not the administrator's word.
#pragma once

#include <cstddef>
#include <string>

namespace wispd {

inline constexpr std::size_t NAMED_FILE_LARGEST = 4 * 1024 * 1024;

// The whole of a regular file that root or this process's user owns and nobody else can write, and that is no symbolic
// link. Never waits. Throws File_Error.
std::string read_named_file(const std::string &path);

} // namespace wispd
