// SPDX-License-Identifier: Apache-2.0
// Nodes and adapters that are suspected to be down, and adapters with grace. The caller passes the time in.
//
// A suspicion becomes a death when it is due, unless a sign of life arrives first.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "cluster/cluster.h"

namespace wispd {

using Time = std::chrono::steady_clock::time_point;

// Numbers, each with the time at which it is due.
template <typename Number> class Due_List {
  public:
    // Returns false when the number is listed already; its time stays unchanged.
    bool add(Number number, Time due) {
        const bool is_new = times_.try_emplace(number, due).second;
        if (is_new) {
            order_.emplace(due, number);
        }
        return is_new;
    }

    // Returns false when the number is not listed.
    bool remove(Number number) {
        const auto found = times_.find(number);
        if (found == times_.end()) {
            return false;
        }
        order_.erase({found->second, number});
        times_.erase(found);
        return true;
    }

    template <typename Predicate> void remove_if(Predicate predicate) {
        std::erase_if(order_, [&](const auto &entry) { return predicate(entry.second); });
        std::erase_if(times_, [&](const auto &entry) { return predicate(entry.first); });
    }

    std::vector<Number> remove_due_of(Time now) {
        std::vector<Number> due;
        while (!order_.empty() && order_.begin()->first <= now) {
            due.push_back(order_.begin()->second);
            remove(due.back());
        }
        return due;
    }

    std::optional<Time> next() const {
        return order_.empty() ? std::nullopt : std::optional(order_.begin()->first);
    }

    const std::map<Number, Time> &times() const { return times_; }

  private:
    std::map<Number, Time> times_;
    std::set<std::pair<Time, Number>> order_;
};

class Suspicions {
  public:
    // Returns false when a suspicion exists already; its time stays unchanged.
    bool suspect_node(int node, Time due);
    bool suspect_adapter(int64_t adapter, Time due);
    // Returns false when there is no suspicion.
    bool clear_node(int node) { return nodes_.remove(node); }
    bool clear_adapter(int64_t adapter) { return adapters_.remove(adapter); }

    // Gives an adapter grace, which ends a suspicion of it.
    void give_grace(int64_t adapter, Time until);
    bool in_grace(int64_t adapter, Time now) const;

    // Returns when the next suspicion is due.
    std::optional<Time> next() const;
    struct Due {
        std::vector<int> nodes;
        std::vector<int64_t> adapters;
    };
    Due remove_due(Time now);

    // Removes outdated entries: members that came up are alive, and members that are down need no suspicion.
    void heed(const Changes &changes, const Cluster &cluster);

    const std::map<int, Time> &nodes() const { return nodes_.times(); }
    const std::map<int64_t, Time> &adapters() const { return adapters_.times(); }
    const std::map<int64_t, Time> &graces() const { return graces_; }

  private:
    Due_List<int> nodes_;
    Due_List<int64_t> adapters_;
    std::map<int64_t, Time> graces_;
    int adapters_per_node_ = 0; // the adapter numbers here are based on this value
};

} // namespace wispd
