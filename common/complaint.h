// SPDX-License-Identifier: Apache-2.0
// Failures that several programs report, in the same words. No line has the name of the program or an end of line.
#pragma once

#include <string>

namespace common {

// No program listens at the path.
std::string no_daemon_line(const std::string &path);

// The mode of the socket excludes this user. `group` is the key of [daemon] that names the group of those it admits.
std::string no_access_line(const std::string &path, const std::string &group);

// The first word of the command line that `program` does not know: a command or an option.
std::string unknown_word_line(const std::string &program, const std::string &word);

std::string no_command_line(const std::string &program);

} // namespace common
