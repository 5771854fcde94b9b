// SPDX-License-Identifier: Apache-2.0
#include "cluster/address.h"
#include "cluster/cluster.h"
#include "host/text.h"

namespace wispd {

Changes Cluster::node_up(int node) {
    check_not_from_engine();
    const std::size_t number = check_configured_node(node);
    if (nodes_[number].up_adapters == nodes_[number].configured_adapters) {
        throw Refused(text("node ", node, " and all its adapters are up already"));
    }
    Changes changes = begin();
    for (std::size_t adapter : slots_of(number)) {
        if (can_be_up(adapters_[adapter]) && !adapters_[adapter].up) {
            bring_up(adapter, changes);
        }
    }
    if (changes.adapter_joins.empty()) {
        throw Refused(
            text("no adapter of node ", node, " can come up: the adapters that are down have no address"));
    }
    settle_node(number, changes);
    finish(changes);
    return changes;
}

Changes Cluster::node_down(int node) {
    check_not_from_engine();
    const std::size_t number = check_configured_node(node);
    if (node == local_node_) {
        throw Refused(text("node ", node,
                           " is the local node, which is up while wispd runs; take its adapters down instead"));
    }
    if (!nodes_[number].up) {
        throw Refused(text("node ", node, " is down already"));
    }
    Changes changes = begin();
    for (std::size_t adapter : slots_of(number)) {
        if (adapters_[adapter].up) {
            take_down(adapter, 0, changes);
        }
    }
    settle_node(number, changes);
    finish(changes);
    return changes;
}

Changes Cluster::node_join(int node) {
    check_not_from_engine();
    const std::size_t number = check_node(node);
    if (nodes_[number].configured_adapters != 0) {
        throw Refused(text("node ", node, " is in the configuration already"));
    }
    bool any_known = false;
    for (std::size_t adapter : slots_of(number)) {
        if (adapters_[adapter].known) {
            any_known = true;
            check_address_free(adapters_[adapter].address, adapter);
        }
    }
    if (!any_known) {
        throw Refused(text("node ", node, " is unknown: describe it in the configuration file, or join ",
                           "its adapters with their addresses"));
    }
    Changes changes = begin();
    for (std::size_t adapter : slots_of(number)) {
        if (adapters_[adapter].known) {
            add(adapter);
            if (can_be_up(adapters_[adapter])) {
                bring_up(adapter, changes);
            }
        }
    }
    settle_node(number, changes);
    update_configuration(changes);
    finish(changes);
    return changes;
}

Changes Cluster::node_leave(int node) {
    check_not_from_engine();
    const std::size_t number = check_configured_node(node);
    if (node == local_node_) {
        throw Refused(text("node ", node, " is the local node, which cannot leave"));
    }
    Changes changes = begin();
    for (std::size_t adapter : slots_of(number)) {
        if (adapters_[adapter].configured) {
            remove(adapter, changes);
        }
    }
    settle_node(number, changes);
    update_configuration(changes);
    finish(changes);
    return changes;
}

Changes Cluster::adapter_up(int64_t adapter) {
    check_not_from_engine();
    const std::size_t number = check_configured_adapter(adapter);
    if (adapters_[number].up) {
        throw Refused(text("adapter ", adapter, " is up already"));
    }
    if (!can_be_up(adapters_[number])) {
        throw Refused(text("adapter ", adapter, " has no address and stays down until it has one"));
    }
    Changes changes = begin();
    bring_up(number, changes);
    settle_node(static_cast<std::size_t>(place_of(number).node), changes);
    finish(changes);
    return changes;
}

Changes Cluster::adapter_down(int64_t adapter) {
    check_not_from_engine();
    const std::size_t number = check_configured_adapter(adapter);
    if (!adapters_[number].up) {
        throw Refused(text("adapter ", adapter, " is down already"));
    }
    Changes changes = begin();
    take_down(number, 0, changes);
    settle_node(static_cast<std::size_t>(place_of(number).node), changes);
    finish(changes);
    return changes;
}

Changes Cluster::adapter_join(int64_t adapter, const std::optional<Hb_IP_address6> &address,
                              const std::optional<std::string> &type) {
    check_not_from_engine();
    const std::size_t number = check_adapter(adapter);
    Adapter &it = adapters_[number];
    if (it.configured) {
        throw Refused(text("adapter ", adapter, " is in the configuration already"));
    }
    if (!it.known && !address) {
        throw Refused(text("adapter ", adapter, " is unknown: give its address"));
    }
    if (!is_address(address.value_or(it.address)) && (address || it.carries_ip)) {
        throw Refused(text("adapter ", adapter, " has no address: give one other than ::"));
    }
    const auto network = static_cast<std::size_t>(place_of(number).slot);
    if (network >= networks_.size() || networks_[network].name.empty()) {
        throw Refused(text("adapter ", adapter, " belongs to network ", network, ", which is not configured"));
    }
    check_address_free(address.value_or(it.address), number);
    it.known = true;
    it.starts_up = true;
    it.carries_ip = it.carries_ip || address;
    it.address = address.value_or(it.address);
    it.type = type.value_or(it.type);
    const auto node = static_cast<std::size_t>(place_of(number).node);
    if (nodes_[node].name.empty()) {
        nodes_[node].name = text("node", node);
    }
    Changes changes = begin();
    add(number);
    bring_up(number, changes);
    settle_node(node, changes);
    update_configuration(changes);
    finish(changes);
    return changes;
}

Changes Cluster::adapter_leave(int64_t adapter) {
    check_not_from_engine();
    const std::size_t number = check_configured_adapter(adapter);
    const auto node = static_cast<std::size_t>(place_of(number).node);
    if (static_cast<int>(node) == local_node_ && nodes_[node].configured_adapters == 1) {
        throw Refused(text("adapter ", adapter, " is the last adapter of the local node, which cannot leave"));
    }
    Changes changes = begin();
    remove(number, changes);
    settle_node(node, changes);
    update_configuration(changes);
    finish(changes);
    return changes;
}

} // namespace wispd
