// One event as plain data, independent of the library's record, so that it can be shown, compared and tested.
#pragma once

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/plain_text.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hbctl {

enum class MemberKind { none, nodes, adapters, instance, sites };

struct AdapterMember {
    std::uint32_t number = 0;
    std::uint32_t incarnation = 0;
    bool removed = false; // died because it was removed from the configuration
    // As configured when the event arrived; -1 and empty for an adapter that is not configured.
    int node = -1;
    int network = -1;
    std::string network_name;
    std::string address;
    std::string type;
};

struct NodeMember {
    int number = 0;
    std::vector<std::string> addresses;
};

struct AdapterGroup {
    std::uint32_t leader = 0;
    std::uint32_t incarnation = 0;
};

struct Heartbeat {
    std::int64_t threshold_seconds = 0;
    std::int64_t threshold_microseconds = 0;
    bool enabled = false;
    int daemon_pid = 0;
};

struct ForeignInstance {
    std::string address;
    std::uint32_t instance = 0;
};

struct SiteSide {
    std::uint32_t site = 0;
    std::uint32_t node = 0;
    std::optional<std::uint32_t> nodes_up; // merges only
};

struct SitePair {
    SiteSide local;
    SiteSide remote;
};

struct EventRecord {
    std::uint32_t sequence = 0;
    WallTime time;
    int kind = 0; // HB_EVENT_...
    std::string subscription;
    MemberKind member_kind = MemberKind::none;
    std::vector<NodeMember> nodes;
    std::vector<AdapterMember> adapters;
    std::optional<bool> stable;                // of a new group
    std::optional<AdapterGroup> adapter_group; // of a new adapter group
    std::string ffdc_id;                       // empty: none
    std::optional<Heartbeat> heartbeat;
    std::optional<ForeignInstance> foreign;
    std::optional<SitePair> sites;
    std::optional<Counts> counts; // after a configuration change
};

// Updates the states of the picture after a death, join or new group.
void apply_event(const EventRecord &event, Picture &picture);

} // namespace hbctl
