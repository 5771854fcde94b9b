// What a host's client was told: a line of "hbctl --json watch".
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
    bool about_nodes = false;    // and not about adapters
    std::set<int> nodes;         // those that it names
    std::map<int, int> adapters; // those that it names, with their nodes
    std::string name;            // of one that is told in its own name alone
};

// Throws when the line is none of hbctl's.
ClientEvent read_event(const std::string &line);

// How it is shown: a line for each member, none longer than 28 characters.
std::vector<std::string> lines_of(const ClientEvent &event);

} // namespace hb_demo

#endif
