// Directories in which nobody else can put other files in the place of ours.
#pragma once

#include <string>

namespace wispd {

// Why another user could exchange a file at this absolute path: a directory on the way to it that others may write to,
// unless it is sticky, or that belongs to another user. Empty when nobody could, and when a directory is missing.
std::string why_unsafe(const std::string &path);

} // namespace wispd
