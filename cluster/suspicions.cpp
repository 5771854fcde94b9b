// SPDX-License-Identifier: Apache-2.0
#include "cluster/suspicions.h"

#include <algorithm>

namespace wispd {

bool Suspicions::suspect_node(int node, Time due) {
    return nodes_.add(node, due);
}

bool Suspicions::suspect_adapter(int64_t adapter, Time due) {
    return adapters_.add(adapter, due);
}

void Suspicions::give_grace(int64_t adapter, Time until) {
    graces_.insert_or_assign(adapter, until);
    adapters_.remove(adapter);
}

bool Suspicions::in_grace(int64_t adapter, Time now) const {
    const auto found = graces_.find(adapter);
    return found != graces_.end() && now < found->second;
}

std::optional<Time> Suspicions::next() const {
    const std::optional<Time> node = nodes_.next();
    const std::optional<Time> adapter = adapters_.next();
    return node && adapter ? std::min(*node, *adapter) : (node ? node : adapter);
}

Suspicions::Due Suspicions::remove_due(Time now) {
    return {nodes_.remove_due_of(now), adapters_.remove_due_of(now)};
}

void Suspicions::heed(const Changes &changes, const Cluster &cluster) {
    if (adapters_per_node_ != cluster.adapters_per_node()) {
        if (adapters_per_node_ != 0) {
            adapters_ = {};
            graces_.clear();
        }
        adapters_per_node_ = cluster.adapters_per_node();
    }
    const auto adapter_is_up = [&](int64_t number) {
        const auto index = static_cast<std::size_t>(number);
        return index < cluster.adapters().size() && cluster.adapters()[index].up;
    };
    adapters_.remove_if([&](int64_t number) { return !adapter_is_up(number); });
    std::erase_if(graces_, [&](const auto &entry) { return !adapter_is_up(entry.first); });
    nodes_.remove_if([&](int node) {
        const auto index = static_cast<std::size_t>(node);
        return index >= cluster.nodes().size() || !cluster.nodes()[index].up;
    });
    for (const Adapter_Member &member : changes.adapter_joins) {
        adapters_.remove(member.number);
        nodes_.remove(static_cast<int>(member.number) / cluster.adapters_per_node());
    }
    for (const Adapter_Member &member : changes.adapter_deaths) {
        graces_.erase(member.number);
    }
}

} // namespace wispd
