// SPDX-License-Identifier: Apache-2.0
#include "tests/watch/cluster_truth.h"

namespace hb_test {
namespace {

Who up_in(const std::map<unsigned, bool> &adapters) {
    Who who;
    for (const auto &[adapter, up] : adapters) {
        if (up) {
            who.adapters.insert(adapter);
            who.nodes.insert(adapter / Cluster_Truth::SLOTS);
        }
    }
    return who;
}

void count_differences(const std::set<unsigned> &one, const std::set<unsigned> &other, const std::string &sort,
                       Replay::Changes &changes) {
    for (const unsigned number : one) {
        changes[sort + std::to_string(number)] += other.contains(number) ? 0 : 1;
    }
    for (const unsigned number : other) {
        changes[sort + std::to_string(number)] += one.contains(number) ? 0 : 1;
    }
}

} // namespace

std::set<unsigned> adapters_of_node(unsigned node) {
    return {node * Cluster_Truth::SLOTS, node * Cluster_Truth::SLOTS + 1};
}

Cluster_Truth::Cluster_Truth(const std::set<unsigned> &nodes_of_file) : file_(nodes_of_file) {
    restart();
    forget_changes();
}

std::string Cluster_Truth::file() const {
    std::string text = R"([cluster]
local_node = 1
max_nodes = 16
adapters_per_node = 48
[daemon]
shutdown_delay_seconds = 0.2
[[network]]
number = 0
name = "a"
[[network]]
number = 1
name = "b"
)";
    for (const unsigned node : file_) {
        text += "[[node]]\nnumber = " + std::to_string(node) + "\n";
        for (const char *network : {"0", "1"}) {
            text += std::string("[[node.adapter]]\nnetwork = ") + network + "\naddress = \"10." + network +
                    ".0." + std::to_string(node) + "\"\ntype = \"eth" + network + "\"\n";
        }
    }
    return text;
}

void Cluster_Truth::change_to(const Adapters &adapters) {
    const Who before = up_in(adapters_);
    const Who after = up_in(adapters);
    count_differences(before.nodes, after.nodes, "node ", changes_);
    count_differences(before.adapters, after.adapters, "adapter ", changes_);
    adapters_ = adapters;
}

void Cluster_Truth::set(unsigned adapter, bool up) {
    Adapters next = adapters_;
    next[adapter] = up;
    change_to(next);
}

void Cluster_Truth::node_down(unsigned node) {
    Adapters next = adapters_;
    for (auto &[adapter, up] : next) {
        up = up && adapter / SLOTS != node;
    }
    change_to(next);
}

void Cluster_Truth::node_up(unsigned node) {
    Adapters next = adapters_;
    for (auto &[adapter, up] : next) {
        up = up || adapter / SLOTS == node;
    }
    change_to(next);
}

void Cluster_Truth::node_leave(unsigned node) {
    Adapters next = adapters_;
    std::erase_if(next, [&](const auto &adapter) { return adapter.first / SLOTS == node; });
    change_to(next);
}

void Cluster_Truth::node_join(unsigned node) {
    Adapters next = adapters_;
    for (const unsigned adapter : adapters_of_node(node)) {
        next[adapter] = true;
    }
    change_to(next);
}

void Cluster_Truth::adapter_down(unsigned adapter) {
    set(adapter, false);
}

void Cluster_Truth::adapter_up(unsigned adapter) {
    set(adapter, true);
}

void Cluster_Truth::adapter_leave(unsigned adapter) {
    Adapters next = adapters_;
    next.erase(adapter);
    change_to(next);
}

void Cluster_Truth::adapter_join(unsigned adapter) {
    set(adapter, true);
}

void Cluster_Truth::reload() {
    Adapters next;
    for (const unsigned node : file_) {
        for (const unsigned adapter : adapters_of_node(node)) {
            const auto found = adapters_.find(adapter);
            next[adapter] = found == adapters_.end() || found->second;
        }
    }
    change_to(next);
}

void Cluster_Truth::restart() {
    Adapters next;
    for (const unsigned node : file_) {
        for (const unsigned adapter : adapters_of_node(node)) {
            next[adapter] = true;
        }
    }
    change_to(next);
}

Who Cluster_Truth::who() const {
    return up_in(adapters_);
}

std::set<unsigned> Cluster_Truth::nodes() const {
    std::set<unsigned> all;
    for (const auto &[adapter, up] : adapters_) {
        all.insert(adapter / SLOTS);
    }
    return all;
}

std::set<unsigned> Cluster_Truth::adapters() const {
    std::set<unsigned> all;
    for (const auto &[adapter, up] : adapters_) {
        all.insert(adapter);
    }
    return all;
}

void Cluster_Truth::become(const Cluster_Truth &other) {
    change_to(other.adapters_);
    file_ = other.file_;
}

} // namespace hb_test
