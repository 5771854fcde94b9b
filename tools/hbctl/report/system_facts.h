// SPDX-License-Identifier: Apache-2.0
// What a report states about the machine without another program.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace hbctl {

// A file as far as it was read, or why it was not.
struct File_Text {
    std::string text;
    std::string failure;
    bool is_cut = false;
};

// Returns the text without its first line. Half of a key at the beginning of a cut text would not be found.
std::string from_first_whole_line(std::string text);
// Returns the text without a last line that has no end. Half of a key there would not be found, either.
std::string up_to_last_whole_line(std::string text);

// Reads a regular file, the first or the last bytes of it, the latter from the beginning of a line. Never waits for another process.
File_Text read_bounded(const std::string &path, std::size_t most_bytes, bool from_end = false);

// One line for each path and for each directory on the way: mode, owner, group, size, time, or why it cannot be seen.
std::string permissions_of(const std::vector<std::string> &paths);

struct Listener {
    pid_t pid = 0;
    bool is_trusted = false; // it belongs to root or to this process's user
};

// The process that listens at a socket; nothing if no process does, or if the system does not say it.
std::optional<Listener> listener_of(const std::string &socket_path);

// The arguments of a process; empty if they cannot be read.
std::vector<std::string> arguments_of_process(pid_t pid);

// The value behind an option, in either form: "--config FILE", "--config=FILE".
std::string option_among(const std::vector<std::string> &arguments, const std::string &option);

// The variables that this project reads or sets, one line each.
std::string project_environment();

// Kernel, machine and user.
std::string system_text();

// The path of the loaded client library, with its size and time.
std::string library_text();

std::string host_name(); // only letters, digits, '.', '-' and '_'

} // namespace hbctl
