// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "cluster/address.h"
#include "cluster/cluster.h"
#include "host/text.h"

namespace wispd {

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
    check_not_from_engine();
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
    check_not_from_engine();
    const std::size_t number = check_configured_adapter(adapter);
    Adapter &it = adapters_[number];
    if (!is_address(it.address)) {
        throw Refused(text("adapter ", adapter, " already has no address"));
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
    check_not_from_engine();
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

} // namespace wispd
