// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/replay_storm/cluster_state.h"

#include <arpa/inet.h>
#include <array>

namespace hb_test::replay_storm {

std::string thing(int node) {
    return "node " + std::to_string(node);
}

std::string thing(const Adapter_Id &adapter) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (adapter.address.size() == 16) {
        inet_ntop(AF_INET6, adapter.address.data(), text.data(), text.size());
    }
    return "adapter " + std::to_string(adapter.node) + "/" + adapter.name + "/" + text.data();
}

std::string text_of(const Configuration &configuration) {
    std::string text = "local node " + std::to_string(configuration.local_node) + "; nodes";
    for (const int node : configuration.nodes) {
        text += " " + std::to_string(node);
    }
    for (const auto &[number, adapter] : configuration.adapters) {
        text += "; " + std::to_string(number) + " = " + thing(adapter);
    }
    return text;
}

} // namespace hb_test::replay_storm
