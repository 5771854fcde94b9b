// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/mox_comparison/nested_scan.h"

#include <algorithm>
#include <ostream>

namespace hb_test {
namespace {

// Without a number of adapters for each node, adapters belong to no node.
const std::vector<Plain_Adapter> &adapters_of(const Plain_Table &table) {
    static const std::vector<Plain_Adapter> none;
    return table.adapters_per_node > 0 ? table.adapters : none;
}

bool same_interface(const Plain_Table &one, const Plain_Adapter &a, const Plain_Table &other,
                    const Plain_Adapter &b) {
    return a.number / static_cast<unsigned>(one.adapters_per_node) ==
               b.number / static_cast<unsigned>(other.adapters_per_node) &&
           a.name == b.name;
}

void tidy(Missing &missing) {
    missing.event = missing.count > 0;
    std::sort(missing.members.begin(), missing.members.end());
    missing.members.erase(std::unique(missing.members.begin(), missing.members.end()), missing.members.end());
}

} // namespace

void PrintTo(const Missing &missing, std::ostream *out) {
    *out << (missing.event ? "an event, count " : "no event, count ") << missing.count << ", members";
    for (const unsigned member : missing.members) {
        *out << " " << member;
    }
}

Missing adapters_missing_by_scan(const Plain_Table &from, const Plain_Table &in) {
    Missing missing;
    for (const Plain_Adapter &a : adapters_of(from)) {
        const Plain_Adapter *partner = nullptr;
        for (const Plain_Adapter &b : adapters_of(in)) {
            if (same_interface(from, a, in, b) && a.address == b.address) {
                partner = &b;
                break;
            }
        }
        const bool missed =
            partner == nullptr || partner->state == Hb_Entity_Down || partner->state == Hb_Entity_Undef;
        if (a.state == Hb_Entity_Up && missed) {
            missing.members.push_back(a.number);
            ++missing.count;
        }
    }
    tidy(missing);
    return missing;
}

Missing nodes_missing_by_scan(const Plain_Table &from, const Plain_Table &in) {
    Missing missing;
    for (const Plain_Node &node : from.nodes) {
        bool known = false;
        for (const Plain_Node &other : in.nodes) {
            known = known || other.number == node.number;
        }
        if (node.state == Hb_Entity_Up && !known) {
            missing.members.push_back(static_cast<unsigned>(node.number));
            ++missing.count;
        }
    }
    tidy(missing);
    return missing;
}

bool config_changed_by_scan(const Plain_Table &one, const Plain_Table &other) {
    if (one.nodes.size() != other.nodes.size() || one.adapters.size() != other.adapters.size() ||
        one.networks != other.networks) {
        return true;
    }
    for (const Plain_Adapter &a : adapters_of(one)) {
        const Plain_Adapter *partner = nullptr;
        for (const Plain_Adapter &b : adapters_of(other)) {
            if (same_interface(one, a, other, b)) {
                partner = &b;
                break;
            }
        }
        if (partner == nullptr || partner->network != a.network || partner->address != a.address) {
            return true;
        }
    }
    return false;
}

} // namespace hb_test
