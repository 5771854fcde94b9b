// SPDX-License-Identifier: Apache-2.0
// Bytes written by hand, and small clusters, for the daemon's tests.
#pragma once

#include <cctype>
#include <string>
#include <string_view>
#include <vector>

#include "cluster/address.h"
#include "cluster/configuration.h"

namespace wispd_test {

// "01 00 ff" as three bytes; spaces are for the reader.
inline std::vector<char> hex(std::string_view digits) {
    std::vector<char> bytes;
    std::string pair;
    for (char digit : digits) {
        if (std::isxdigit(static_cast<unsigned char>(digit)) == 0) {
            continue;
        }
        pair += digit;
        if (pair.size() == 2) {
            bytes.push_back(static_cast<char>(std::stoi(pair, nullptr, 16)));
            pair.clear();
        }
    }
    return bytes;
}

inline std::vector<char> zeros(std::size_t count) {
    return std::vector<char>(count);
}

template <typename... Parts> std::vector<char> join(const Parts &...parts) {
    std::vector<char> whole;
    (whole.insert(whole.end(), parts.begin(), parts.end()), ...);
    return whole;
}

// A text in a field of that size, padded with zeros.
inline std::vector<char> field(std::string_view text, std::size_t size) {
    std::vector<char> bytes(text.begin(), text.end());
    bytes.resize(size);
    return bytes;
}

inline wispd::Configured_Adapter adapter(int network, const char *address, bool up = true) {
    return {static_cast<Hb_Network_Number>(network), wispd::parse_address(address).value(), "eth", up};
}

// Nodes 1 (local), 2 and 3 on networks 0 and 1; eight slots of two adapters: node n has adapters 2n and 2n+1.
inline wispd::Configuration three_nodes() {
    wispd::Configuration configuration;
    configuration.name = "test";
    configuration.local_node = 1;
    configuration.max_nodes = 8;
    configuration.adapters_per_node = 2;
    configuration.instance = 1;
    configuration.networks = {{0, "net_a", "ether"}, {1, "net_b", "ether"}};
    configuration.nodes = {{1, "alpha", {adapter(0, "10.1.0.1"), adapter(1, "10.2.0.1")}},
                           {2, "beta", {adapter(0, "10.1.0.2"), adapter(1, "10.2.0.2")}},
                           {3, "gamma", {adapter(0, "10.1.0.3"), adapter(1, "10.2.0.3")}}};
    return configuration;
}

} // namespace wispd_test
