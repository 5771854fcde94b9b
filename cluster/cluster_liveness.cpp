// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "cluster/ascending_search.h"
#include "cluster/cluster.h"

namespace wispd {

void Cluster::set_adapter_liveness(std::size_t adapter, bool up, bool back, Hb_Incarnation lowest,
                                   Changes &changes) {
    Adapter &it = adapters_[adapter];
    const bool was_up = it.up;
    it.down_by_engine = !up;
    if (was_up && (!up || back)) {
        take_down(adapter, 0, changes);
    }
    if (up && (!was_up || back) && can_be_up(it) && !is_held_down(it)) {
        it.incarnation = std::max(it.incarnation, lowest == 0 ? 0 : lowest - 1);
        bring_up(adapter, changes);
    }
}

Changes Cluster::set_liveness(const Liveness &liveness) {
    Changes changes = begin();
    // Nodes and adapters are visited by ascending number.
    Ascending_Search members(liveness.nodes);
    Ascending_Search members_back(liveness.nodes_back);
    Ascending_Search adapters(liveness.adapters);
    Ascending_Search adapters_back(liveness.adapters_back);
    for (std::size_t number = 0; number < nodes_.size(); ++number) {
        const int node = static_cast<int>(number);
        const bool is_member = node == local_node_ || members.contains(node);
        const bool node_back = node != local_node_ && members_back.contains(node);
        const auto lowest = liveness.incarnations.find(node);
        if (is_member && node_back && nodes_[number].up) {
            changes.node_deaths.push_back(static_cast<Hb_Node_Number>(number));
            nodes_[number].up = false;
        }
        nodes_[number].member = is_member;
        // Most slots are unused. The search for adapters ends with the last one, to save time.
        int left = nodes_[number].configured_adapters;
        if (left == 0) {
            continue;
        }
        for (const std::size_t adapter : slots_of(number)) {
            if (left == 0) {
                break;
            }
            if (adapters_[adapter].configured) {
                --left;
                const auto slot = static_cast<int64_t>(adapter);
                set_adapter_liveness(adapter, is_member && adapters.contains(slot),
                                     node_back || adapters_back.contains(slot),
                                     lowest == liveness.incarnations.end() ? 0 : lowest->second, changes);
            }
        }
        settle_node(number, changes);
    }
    finish(changes);
    return changes;
}

Changes Cluster::follow(const std::optional<Configuration> &next, const Liveness &liveness) {
    if (!next) {
        return set_liveness(liveness);
    }
    Changes changes = reconfigure(*next);
    Changes more = set_liveness(liveness);
    const auto append = [](auto &all, const auto &those) { all.insert(all.end(), those.begin(), those.end()); };
    append(changes.adapter_deaths, more.adapter_deaths);
    append(changes.node_deaths, more.node_deaths);
    append(changes.adapter_joins, more.adapter_joins);
    append(changes.node_joins, more.node_joins);
    return changes;
}

} // namespace wispd
