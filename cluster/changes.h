// SPDX-License-Identifier: Apache-2.0
// The result of an operation on the cluster: which members and settings changed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cluster/configuration.h"

namespace wispd {

// A flag in the incarnation of a death: the adapter was removed from the configuration.
inline constexpr Hb_Incarnation REMOVED_FROM_CONFIGURATION = 0x08000000;

inline constexpr Hb_Adapter_Number NO_ADAPTER = 0xFFFFFFFF;

struct Adapter_Member {
    Hb_Adapter_Number number;
    Hb_Incarnation incarnation;

    bool operator==(const Adapter_Member &) const = default;
};

struct Foreign_Instance {
    Hb_IP_address6 sender{};
    Hb_Config_Instance instance = 0;
};

// What an operation changed, in the order in which clients are notified. Deaths come before the configuration
// update and joins after it, so a client always knows the numbers that it receives.
struct Changes {
    std::vector<Adapter_Member> adapter_deaths;
    std::vector<Hb_Node_Number> node_deaths;
    int node_slots_at_death = 0; // node slots while deaths are reported; an update can change them
    int adapters_per_node_at_death = 0;
    bool configuration_updated = false;
    std::vector<Adapter_Member> adapter_joins;
    std::vector<Hb_Node_Number> node_joins;
    std::optional<Heartbeat> heartbeat;
    std::optional<Foreign_Instance> foreign_instance;
    std::string failure_report; // a first-failure identifier that is reported by itself

    bool any() const {
        return changes_membership() || configuration_updated || heartbeat || foreign_instance ||
               !failure_report.empty();
    }
    bool changes_membership() const {
        return !adapter_deaths.empty() || !node_deaths.empty() || !adapter_joins.empty() || !node_joins.empty();
    }
};

} // namespace wispd
