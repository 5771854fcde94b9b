// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <utility>

#include "cluster/cluster.h"
#include "host/text.h"

namespace wispd {

// The cluster before the configuration was replaced.
struct Cluster::Before {
    std::vector<Adapter> adapters;
    std::vector<Node> nodes;
    int adapters_per_node;
    std::optional<Heartbeat> heartbeat;
};

Changes Cluster::reconfigure(const Configuration &next) {
    if (next.local_node != local_node_) {
        throw Refused(text("local_node cannot change from ", local_node_, " to ", next.local_node,
                           " while wispd runs; restart wispd"));
    }
    Changes changes = begin();
    const Before before{std::move(adapters_), std::move(nodes_), adapters_per_node_, heartbeat_};
    load(next);
    for (std::size_t number = 0; number < before.adapters.size(); ++number) {
        carry_over(number, before, changes);
    }
    for (std::size_t number = 0; number < adapters_.size(); ++number) {
        if (is_newly_up(number, before)) {
            bring_up(number, changes);
        }
    }
    settle_nodes(before, changes);
    update_configuration(changes);
    if (heartbeat_ != before.heartbeat) {
        changes.heartbeat = heartbeat_;
    }
    finish(changes);
    return changes;
}

// To a client, an adapter with a new number is another adapter: it leaves and joins.
bool Cluster::survives(std::size_t adapter, const Before &before) const {
    return before.adapters_per_node == adapters_per_node_ && adapter < before.adapters.size() &&
           adapter < adapters_.size() && before.adapters[adapter].configured && adapters_[adapter].configured;
}

void Cluster::carry_over(std::size_t adapter, const Before &before, Changes &changes) {
    const Adapter &old = before.adapters[adapter];
    const std::size_t node = adapter / static_cast<std::size_t>(before.adapters_per_node);
    const std::size_t slot = adapter % static_cast<std::size_t>(before.adapters_per_node);
    // Incarnations belong to the position, so a returning adapter is never mistaken for the one that died.
    if (node < nodes_.size() && slot < static_cast<std::size_t>(adapters_per_node_)) {
        adapters_[node * static_cast<std::size_t>(adapters_per_node_) + slot].incarnation = old.incarnation;
    }
    const bool stays = survives(adapter, before);
    if (stays) {
        adapters_[adapter].disabled = old.disabled;
        adapters_[adapter].interface_down = old.interface_down;
    }
    if (!old.up) {
        return;
    }
    const auto number = static_cast<Hb_Adapter_Number>(adapter);
    if (!stays) {
        changes.adapter_deaths.push_back({number, old.incarnation | REMOVED_FROM_CONFIGURATION});
    } else if (old.starts_up && !adapters_[adapter].starts_up) {
        changes.adapter_deaths.push_back({number, old.incarnation});
    } else {
        adapters_[adapter].up = true;
        ++nodes_[node].up_adapters;
    }
}

// Returns whether the adapter is down and comes up with the new configuration.
bool Cluster::is_newly_up(std::size_t adapter, const Before &before) const {
    const Adapter &it = adapters_[adapter];
    if (!it.configured || it.up || !it.starts_up || is_held_down(it)) {
        return false;
    }
    return !survives(adapter, before) || !before.adapters[adapter].starts_up ||
           !can_be_up(before.adapters[adapter]);
}

void Cluster::settle_nodes(const Before &before, Changes &changes) {
    for (std::size_t node = 0; node < std::max(before.nodes.size(), nodes_.size()); ++node) {
        const bool was_up = node < before.nodes.size() && before.nodes[node].up;
        if (node < nodes_.size()) {
            nodes_[node].up = was_up;
            nodes_[node].member = node < before.nodes.size() ? before.nodes[node].member : std::nullopt;
            settle_node(node, changes);
        } else if (was_up) {
            changes.node_deaths.push_back(static_cast<Hb_Node_Number>(node));
        }
    }
}

} // namespace wispd
