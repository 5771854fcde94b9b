// SPDX-License-Identifier: Apache-2.0
#include "cluster/cluster.h"

#include <algorithm>

#include "cluster/address.h"
#include "host/text.h"

namespace wispd {

Hb_Incarnation next_incarnation(Hb_Incarnation incarnation) {
    ++incarnation;
    if ((incarnation & REMOVED_FROM_CONFIGURATION) != 0) {
        incarnation = (incarnation | (REMOVED_FROM_CONFIGURATION - 1)) + 1;
    }
    return incarnation == 0 ? 1 : incarnation;
}

bool can_be_up(const Adapter &adapter) {
    return adapter.configured && (!adapter.carries_ip || is_address(adapter.address));
}

bool is_held_down(const Adapter &adapter) {
    return adapter.disabled || adapter.interface_down || adapter.down_by_engine;
}

Cluster::Cluster(const Configuration &configuration) {
    load(configuration);
    Changes unreported;
    for (const Configured_Node &node : configuration.nodes) {
        for (const Configured_Adapter &adapter : node.adapters) {
            if (adapter.up) {
                bring_up(static_cast<std::size_t>(node.number * adapters_per_node_ + adapter.network),
                         unreported);
            }
        }
        settle_node(static_cast<std::size_t>(node.number), unreported);
    }
}

// Replaces all tables by those of the configuration, with every adapter down.
void Cluster::load(const Configuration &configuration) {
    name_ = configuration.name;
    local_node_ = configuration.local_node;
    adapters_per_node_ = configuration.adapters_per_node;
    instance_ = configuration.instance;
    is_from_engine_ = configuration.is_from_engine;
    if (configuration.heartbeat) {
        heartbeat_ = configuration.heartbeat;
    }
    // A removed network keeps an empty entry. Clients would keep their old data for any number that a message
    // does not list.
    networks_.assign(std::min(networks_.size(), static_cast<std::size_t>(adapters_per_node_)), Network());
    for (const Configured_Network &network : configuration.networks) {
        const auto number = static_cast<std::size_t>(network.number);
        networks_.resize(std::max(networks_.size(), number + 1));
        networks_[number] = {network.name, network.type};
    }
    nodes_.assign(static_cast<std::size_t>(configuration.max_nodes), Node());
    adapters_.assign(nodes_.size() * static_cast<std::size_t>(adapters_per_node_), Adapter());
    configured_adapters_ = 0;
    for (const Configured_Node &node : configuration.nodes) {
        nodes_[static_cast<std::size_t>(node.number)].name = node.name;
        for (const Configured_Adapter &from : node.adapters) {
            const auto number = static_cast<std::size_t>(node.number * adapters_per_node_ + from.network);
            Adapter &adapter = adapters_[number];
            adapter.known = true;
            adapter.starts_up = from.up;
            adapter.address = from.address;
            adapter.type = from.type;
            adapter.carries_ip = from.carries_ip;
            add(number);
        }
    }
}

Cluster::Numbering Cluster::place_of(std::size_t adapter) const {
    const auto number = static_cast<int>(adapter);
    return {number / adapters_per_node_, number % adapters_per_node_};
}

Cluster::Slots Cluster::slots_of(std::size_t node) const {
    const auto per_node = static_cast<std::size_t>(adapters_per_node_);
    return {node * per_node, (node + 1) * per_node};
}

std::size_t Cluster::check_node(int node) const {
    if (node < 0 || node >= max_nodes()) {
        throw Refused(text("node ", node, " is out of range: node numbers run from 0 to ", max_nodes() - 1));
    }
    return static_cast<std::size_t>(node);
}

std::size_t Cluster::check_configured_node(int node) const {
    const std::size_t number = check_node(node);
    if (nodes_[number].configured_adapters == 0) {
        throw Refused(text("node ", node, " is not in the configuration"));
    }
    return number;
}

std::size_t Cluster::check_adapter(int64_t adapter) const {
    if (adapter < 0 || adapter >= static_cast<int64_t>(adapters_.size())) {
        throw Refused(text("adapter ", adapter, " is out of range: adapter numbers run from 0 to ",
                           adapters_.size() - 1));
    }
    return static_cast<std::size_t>(adapter);
}

std::size_t Cluster::check_configured_adapter(int64_t adapter) const {
    const std::size_t number = check_adapter(adapter);
    if (!adapters_[number].configured) {
        throw Refused(text("adapter ", adapter, " is not in the configuration"));
    }
    return number;
}

void Cluster::check_not_from_engine() const {
    if (is_from_engine_) {
        throw Refused(
            "the cluster engine decides which nodes and adapters are configured and up: stop or start "
            "it on the node, or change its configuration");
    }
}

void Cluster::check_address_free(const Hb_IP_address6 &address, std::size_t adapter) const {
    const std::optional<std::size_t> owner = owner_of(address);
    if (owner && *owner != adapter) {
        throw Refused(text("address ", address_text(address), " already belongs to adapter ", *owner));
    }
}

std::optional<std::size_t> Cluster::owner_of(const Hb_IP_address6 &address) const {
    if (!is_address(address)) {
        return std::nullopt;
    }
    for (std::size_t number = 0; number < adapters_.size(); ++number) {
        if (adapters_[number].configured && same_address(adapters_[number].address, address)) {
            return number;
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> Cluster::local_adapter(int network) const {
    if (network < 0 || network >= adapters_per_node_) {
        return std::nullopt;
    }
    const auto number = static_cast<std::size_t>(local_node_ * adapters_per_node_ + network);
    return adapters_[number].configured ? std::optional(number) : std::nullopt;
}

void Cluster::bring_up(std::size_t adapter, Changes &changes) {
    Adapter &it = adapters_[adapter];
    it.up = true;
    it.disabled = false;
    it.interface_down = false;
    it.incarnation = next_incarnation(it.incarnation);
    ++nodes_[static_cast<std::size_t>(place_of(adapter).node)].up_adapters;
    changes.adapter_joins.push_back({static_cast<Hb_Adapter_Number>(adapter), it.incarnation});
}

void Cluster::take_down(std::size_t adapter, Hb_Incarnation flag, Changes &changes) {
    Adapter &it = adapters_[adapter];
    it.up = false;
    --nodes_[static_cast<std::size_t>(place_of(adapter).node)].up_adapters;
    changes.adapter_deaths.push_back({static_cast<Hb_Adapter_Number>(adapter), it.incarnation | flag});
}

void Cluster::add(std::size_t adapter) {
    adapters_[adapter].configured = true;
    ++nodes_[static_cast<std::size_t>(place_of(adapter).node)].configured_adapters;
    ++configured_adapters_;
}

void Cluster::remove(std::size_t adapter, Changes &changes) {
    if (adapters_[adapter].up) {
        take_down(adapter, REMOVED_FROM_CONFIGURATION, changes);
    }
    adapters_[adapter].configured = false;
    adapters_[adapter].disabled = false;
    adapters_[adapter].interface_down = false;
    --nodes_[static_cast<std::size_t>(place_of(adapter).node)].configured_adapters;
    --configured_adapters_;
}

// Updates the node's state from its configured and active adapters, and records its join or death.
void Cluster::settle_node(std::size_t node, Changes &changes) {
    Node &it = nodes_[node];
    const bool is_local = static_cast<int>(node) == local_node_;
    const bool up = it.configured_adapters > 0 && (is_local || it.member.value_or(it.up_adapters > 0));
    if (up == it.up) {
        return;
    }
    it.up = up;
    (up ? changes.node_joins : changes.node_deaths).push_back(static_cast<Hb_Node_Number>(node));
}

void Cluster::update_configuration(Changes &changes) {
    changes.configuration_updated = true;
    if (++configuration_sequence_ == 0) {
        configuration_sequence_ = 1;
    }
}

Changes Cluster::begin() const {
    Changes changes;
    changes.node_slots_at_death = max_nodes();
    changes.adapters_per_node_at_death = adapters_per_node_;
    return changes;
}

void Cluster::finish(const Changes &changes) {
    if (!changes.adapter_deaths.empty() || !changes.adapter_joins.empty()) {
        group_incarnation_ = next_incarnation(group_incarnation_);
    }
}

Changes Cluster::set_heartbeat(const Heartbeat &settings) {
    heartbeat_ = settings;
    Changes changes = begin();
    changes.heartbeat = settings;
    return changes;
}

Changes Cluster::report_failure(const std::string &identifier) const {
    Changes changes = begin();
    changes.failure_report = identifier;
    return changes;
}

Changes Cluster::report_foreign_instance(const Foreign_Instance &foreign) const {
    if (foreign.instance == instance_) {
        throw Refused(text("instance ", foreign.instance, " is this cluster's own"));
    }
    Changes changes = begin();
    changes.foreign_instance = foreign;
    return changes;
}

std::vector<Adapter_Member> Cluster::adapters_up() const {
    std::vector<Adapter_Member> members;
    for (std::size_t number = 0; number < adapters_.size(); ++number) {
        if (adapters_[number].up) {
            members.push_back({static_cast<Hb_Adapter_Number>(number), adapters_[number].incarnation});
        }
    }
    return members;
}

std::vector<Hb_Node_Number> Cluster::nodes_up() const {
    std::vector<Hb_Node_Number> members;
    for (std::size_t number = 0; number < nodes_.size(); ++number) {
        if (nodes_[number].up) {
            members.push_back(static_cast<Hb_Node_Number>(number));
        }
    }
    return members;
}

} // namespace wispd
