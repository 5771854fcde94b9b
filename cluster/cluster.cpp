#include "cluster/cluster.h"

#include <algorithm>
#include <utility>

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

namespace {

bool is_held_down(const Adapter &adapter) {
    return adapter.disabled || adapter.interface_down || adapter.told_down;
}

} // namespace

Cluster::Cluster(const Configuration &configuration) {
    load(configuration);
    Changes unheard;
    for (const Configured_Node &node : configuration.nodes) {
        for (const Configured_Adapter &adapter : node.adapters) {
            if (adapter.up) {
                bring_up(static_cast<std::size_t>(node.number * adapters_per_node_ + adapter.network), unheard);
            }
        }
        settle_node(static_cast<std::size_t>(node.number), unheard);
    }
}

// Replaces all tables by the configuration's, with every adapter down.
void Cluster::load(const Configuration &configuration) {
    name_ = configuration.name;
    local_node_ = configuration.local_node;
    adapters_per_node_ = configuration.adapters_per_node;
    instance_ = configuration.instance;
    engine_tells_ = configuration.engine_tells;
    if (configuration.heartbeat) {
        heartbeat_ = configuration.heartbeat;
    }
    // A network that went leaves an empty entry behind: clients keep what they held for a number that a message
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

std::ranges::iota_view<std::size_t, std::size_t> Cluster::slots_of(std::size_t node) const {
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

void Cluster::check_is_told_here() const {
    if (engine_tells_) {
        throw Refused("Corosync decides which nodes and adapters are configured and up: stop or start "
                      "Corosync on the node, or change its configuration");
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

// Whether the node's own state follows from its adapters'.
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
    return changes;
}

void Cluster::finish(const Changes &changes) {
    if (!changes.adapter_deaths.empty() || !changes.adapter_joins.empty()) {
        group_incarnation_ = next_incarnation(group_incarnation_);
    }
}

Changes Cluster::node_up(int node) {
    check_is_told_here();
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
    check_is_told_here();
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
    check_is_told_here();
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
    check_is_told_here();
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
    check_is_told_here();
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
    check_is_told_here();
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
    check_is_told_here();
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
    check_is_told_here();
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

Changes Cluster::hold_down(int64_t adapter, bool Adapter::*hold) {
    const std::size_t number = check_configured_adapter(adapter);
    adapters_[number].*hold = true;
    Changes changes = begin();
    if (adapters_[number].up) {
        take_down(number, 0, changes);
        settle_node(static_cast<std::size_t>(place_of(number).node), changes);
    }
    finish(changes);
    return changes;
}

Changes Cluster::let_up(int64_t adapter, bool Adapter::*hold) {
    const std::size_t number = check_configured_adapter(adapter);
    Adapter &it = adapters_[number];
    it.*hold = false;
    Changes changes = begin();
    if (!it.up && can_be_up(it) && !is_held_down(it)) {
        bring_up(number, changes);
        settle_node(static_cast<std::size_t>(place_of(number).node), changes);
    }
    finish(changes);
    return changes;
}

Changes Cluster::adapter_enable(int64_t adapter) {
    return let_up(adapter, &Adapter::disabled);
}

Changes Cluster::adapter_disable(int64_t adapter) {
    return hold_down(adapter, &Adapter::disabled);
}

Changes Cluster::interface_up(int64_t adapter) {
    return let_up(adapter, &Adapter::interface_down);
}

Changes Cluster::interface_down(int64_t adapter) {
    return hold_down(adapter, &Adapter::interface_down);
}

Changes Cluster::set_address(int64_t adapter, const Hb_IP_address6 &address) {
    check_is_told_here();
    const std::size_t number = check_configured_adapter(adapter);
    Adapter &it = adapters_[number];
    if (!it.carries_ip || !is_address(address)) {
        throw Refused(text("adapter ", adapter, " cannot carry the address ", address_text(address)));
    }
    check_address_free(address, number);
    Changes changes = begin();
    if (!same_address(it.address, address)) {
        it.address = address;
        update_configuration(changes);
    }
    if (!it.up && !is_held_down(it)) {
        bring_up(number, changes);
        settle_node(static_cast<std::size_t>(place_of(number).node), changes);
    }
    finish(changes);
    return changes;
}

Changes Cluster::clear_address(int64_t adapter) {
    check_is_told_here();
    const std::size_t number = check_configured_adapter(adapter);
    Adapter &it = adapters_[number];
    if (!is_address(it.address)) {
        throw Refused(text("adapter ", adapter, " has no address already"));
    }
    Changes changes = begin();
    if (it.up) {
        take_down(number, 0, changes);
        settle_node(static_cast<std::size_t>(place_of(number).node), changes);
    }
    it.address = {};
    update_configuration(changes);
    finish(changes);
    return changes;
}

Changes Cluster::swap_addresses(int64_t adapter, int64_t other) {
    check_is_told_here();
    const std::size_t one = check_configured_adapter(adapter);
    const std::size_t two = check_configured_adapter(other);
    for (std::size_t number : {one, two}) {
        if (!adapters_[number].carries_ip) {
            throw Refused(text("adapter ", number, " carries no IP and has no address to exchange"));
        }
    }
    Changes changes = begin();
    if (same_address(adapters_[one].address, adapters_[two].address)) {
        return changes;
    }
    std::swap(adapters_[one].address, adapters_[two].address);
    for (const auto &[number, partner] : {std::pair{one, two}, std::pair{two, one}}) {
        Adapter &it = adapters_[number];
        const bool had_none = !is_address(adapters_[partner].address);
        if (it.up && !can_be_up(it)) {
            take_down(number, 0, changes);
        } else if (!it.up && had_none && can_be_up(it) && !is_held_down(it)) {
            bring_up(number, changes);
        }
        settle_node(static_cast<std::size_t>(place_of(number).node), changes);
    }
    update_configuration(changes);
    finish(changes);
    return changes;
}

Changes Cluster::sleep_and_wake() {
    Changes changes = begin();
    for (int network = 0; network < adapters_per_node_; ++network) {
        const std::optional<std::size_t> adapter = local_adapter(network);
        if (adapter && adapters_[*adapter].up) {
            take_down(*adapter, 0, changes);
            bring_up(*adapter, changes);
        }
    }
    finish(changes);
    return changes;
}

// ---- Who is alive ----

void Cluster::set_adapter_liveness(std::size_t adapter, bool up, bool back, Hb_Incarnation lowest,
                                   Changes &changes) {
    Adapter &it = adapters_[adapter];
    const bool was_up = it.up;
    it.told_down = !up;
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
    for (std::size_t number = 0; number < nodes_.size(); ++number) {
        const int node = static_cast<int>(number);
        const bool is_member = node == local_node_ || liveness.nodes.contains(node);
        const bool node_back = node != local_node_ && liveness.nodes_back.contains(node);
        const auto lowest = liveness.incarnations.find(node);
        if (is_member && node_back && nodes_[number].up) {
            changes.node_deaths.push_back(static_cast<Hb_Node_Number>(number));
            nodes_[number].up = false;
        }
        nodes_[number].member = is_member;
        if (nodes_[number].configured_adapters == 0) {
            continue; // nearly all of them: their adapters are not worth the look
        }
        for (const std::size_t adapter : slots_of(number)) {
            if (adapters_[adapter].configured) {
                const auto told = static_cast<int64_t>(adapter);
                set_adapter_liveness(adapter, is_member && liveness.adapters.contains(told),
                                     node_back || liveness.adapters_back.contains(told),
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

// ---- A whole new configuration ----

// What was there before it.
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

// An adapter that is renumbered is, to a client, another one: it leaves and joins.
bool Cluster::survives(std::size_t adapter, const Before &before) const {
    return before.adapters_per_node == adapters_per_node_ && adapter < before.adapters.size() &&
           adapter < adapters_.size() && before.adapters[adapter].configured && adapters_[adapter].configured;
}

void Cluster::carry_over(std::size_t adapter, const Before &before, Changes &changes) {
    const Adapter &old = before.adapters[adapter];
    const std::size_t node = adapter / static_cast<std::size_t>(before.adapters_per_node);
    const std::size_t slot = adapter % static_cast<std::size_t>(before.adapters_per_node);
    // Incarnations belong to the place, so that one that comes back is never taken for the one that died.
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
    const auto told = static_cast<Hb_Adapter_Number>(adapter);
    if (!stays) {
        changes.adapter_deaths.push_back({told, old.incarnation | REMOVED_FROM_CONFIGURATION});
    } else if (old.starts_up && !adapters_[adapter].starts_up) {
        changes.adapter_deaths.push_back({told, old.incarnation});
    } else {
        adapters_[adapter].up = true;
        ++nodes_[node].up_adapters;
    }
}

// Whether it is down and comes up with the configuration.
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

// ---- What is told and changes no member ----

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
