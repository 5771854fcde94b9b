// SPDX-License-Identifier: Apache-2.0
// A timeline: a list of commands, each with the time to wait before it.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "cluster/description/command.h"
#include "cluster/description/config_error.h"

namespace wispd {

struct Timeline_Event {
    std::chrono::microseconds after{}; // the time since the previous event
    Command command;
    std::string place; // "file:line:column", for the log
};

// All throw Config_Error.
std::vector<Timeline_Event> read_timeline(const std::string &path);
std::vector<Timeline_Event> read_named_timeline(const std::string &path); // for a file that a request names
std::vector<Timeline_Event> parse_timeline(std::string_view document, const std::string &path);

} // namespace wispd
