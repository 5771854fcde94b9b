// SPDX-License-Identifier: Apache-2.0
// A cluster as a client can see it: nodes, and adapters by their identities.
#pragma once

#include <compare>
#include <map>
#include <set>
#include <string>

namespace hb_test::replay_storm {

// The identity of an adapter, which a change of the numbers does not affect. An adapter with another address is
// another one.
struct Adapter_Id {
    int node = 0;
    std::string name;
    std::string address; // the 16 bytes

    auto operator<=>(const Adapter_Id &) const = default;
};

// "node 3", "adapter 3/eth0/10.0.0.3".
std::string thing(int node);
std::string thing(const Adapter_Id &adapter);

// The configured nodes and adapters, and their numbers.
struct Configuration {
    int local_node = 0;
    std::set<int> nodes;
    std::map<unsigned, Adapter_Id> adapters;

    bool operator==(const Configuration &) const = default;
};
std::string text_of(const Configuration &configuration);

struct Cluster_State {
    Configuration configuration;
    std::set<int> nodes_up;
    std::set<Adapter_Id> adapters_up;
};

} // namespace hb_test::replay_storm
