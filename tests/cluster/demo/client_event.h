// SPDX-License-Identifier: Apache-2.0
// An event of a host's client: a line of "hbctl --json watch".
#pragma once

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace hb_demo {

using Time = std::chrono::sys_time<std::chrono::milliseconds>;

Time now();

enum class Told { account, death, join, other };

struct Client_Event {
    Time time;
    Told told = Told::other;
    bool about_nodes = false;    // false: about adapters
    std::set<int> nodes;         // in the event
    std::map<int, int> adapters; // in the event, with their nodes
    std::string name;            // of an event that is shown by name only
};

// Throws if the line is not from hbctl.
Client_Event read_event(const std::string &line);

// The event as shown: a line for each member, at most 28 characters long.
std::vector<std::string> lines_of(const Client_Event &event);

} // namespace hb_demo
