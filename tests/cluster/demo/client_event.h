// An event of a host's client: a line of "hbctl --json watch".
#ifndef HB_TEST_CLUSTER_DEMO_CLIENT_EVENT_H
#define HB_TEST_CLUSTER_DEMO_CLIENT_EVENT_H

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace hb_demo {

using Time = std::chrono::sys_time<std::chrono::milliseconds>;

Time now();

enum class Told { account, death, join, other };

struct ClientEvent {
    Time time;
    Told told = Told::other;
    bool about_nodes = false;    // false: about adapters
    std::set<int> nodes;         // in the event
    std::map<int, int> adapters; // in the event, with their nodes
    std::string name;            // of an event that is shown by name only
};

// Throws if the line is not from hbctl.
ClientEvent read_event(const std::string &line);

// The event as shown: a line for each member, at most 28 characters long.
std::vector<std::string> lines_of(const ClientEvent &event);

} // namespace hb_demo

#endif
