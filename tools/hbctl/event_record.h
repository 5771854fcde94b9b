// One event as plain data, independent of the library's record, so that it can be shown, compared and tested.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/plain_text.h"

namespace hbctl {

enum class Member_Kind { none, nodes, adapters, instance, sites };

struct Adapter_Member {
    std::uint32_t number = 0;
    std::uint32_t incarnation = 0;
    bool removed = false; // died because it was removed from the configuration
    // As configured when the event arrived; -1 and empty for an adapter that is not configured.
    int node = -1;
    int network = -1;
    std::string network_name;
    std::string address;
    std::string type;
    std::string name{}; // "alpha/net_a"; empty: not known
};

struct Node_Member {
    int number = 0;
    std::vector<std::string> addresses;
    std::string name{}; // empty: not known
};

struct Adapter_Group {
    std::uint32_t leader = 0;
    std::uint32_t incarnation = 0;
};

struct Heartbeat {
    std::int64_t threshold_seconds = 0;
    std::int64_t threshold_microseconds = 0;
    bool enabled = false;
    int daemon_pid = 0;
};

struct Foreign_Instance {
    std::string address;
    std::uint32_t instance = 0;
};

struct Site_Side {
    std::uint32_t site = 0;
    std::uint32_t node = 0;
    std::optional<std::uint32_t> nodes_up; // merges only
};

struct Site_Pair {
    Site_Side local;
    Site_Side remote;
};

struct Event_Record {
    std::uint32_t sequence = 0;
    Wall_Time time;
    int kind = 0; // HB_EVENT_...
    std::string subscription;
    Member_Kind member_kind = Member_Kind::none;
    std::vector<Node_Member> nodes;
    std::vector<Adapter_Member> adapters;
    std::optional<bool> stable;                 // of a new group
    std::optional<Adapter_Group> adapter_group; // of a new adapter group
    std::string ffdc_id;                        // empty: none
    std::optional<Heartbeat> heartbeat;
    std::optional<Foreign_Instance> foreign;
    std::optional<Site_Pair> sites;
    std::optional<Counts> counts; // after a configuration change
};

// Updates the states of the picture after a death, join or new group.
void apply_event(const Event_Record &event, Picture &picture);

} // namespace hbctl
