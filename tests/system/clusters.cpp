// SPDX-License-Identifier: Apache-2.0
#include "tests/system/clusters.h"

#include <stdexcept>
#include <vector>

namespace hb_test {

std::string small_cluster_file() {
    return R"([cluster]
name = "small"
local_node = 1
max_nodes = 8
adapters_per_node = 2
instance = 1

[[network]]
number = 0
name = "net_a"
type = "ether"

[[network]]
number = 1
name = "net_b"
type = "token"

[[node]]
number = 1
name = "alpha"
  [[node.adapter]]
  network = 0
  address = "10.1.0.1"
  type = "eth0"
  [[node.adapter]]
  network = 1
  address = "10.2.0.1"
  type = "eth1"

[[node]]
number = 2
name = "beta"
  [[node.adapter]]
  network = 0
  address = "10.1.0.2"
  type = "eth0"
  [[node.adapter]]
  network = 1
  address = "10.2.0.2"
  type = "eth1"

[[node]]
number = 3
name = "gamma"
  [[node.adapter]]
  network = 0
  address = "10.1.0.3"
  type = "eth0"
  [[node.adapter]]
  network = 1
  address = "2001:db8::3"
  type = "eth1"

[[node]]
number = 4
name = "delta"
state = "down"
  [[node.adapter]]
  network = 0
  address = "10.1.0.4"
  type = "eth0"
)";
}

std::string full_cluster_file() {
    std::string text = "[cluster]\nlocal_node = 0\nmax_nodes = 2049\nadapters_per_node = 48\n";
    for (int network = 0; network < 48; ++network) {
        const std::string number = std::to_string(network);
        text += "[[network]]\nnumber = " + number + "\nname = \"net" + number + "\"\ntype = \"ether\"\n";
    }
    for (int node = 0; node < 2049; ++node) {
        text += "[[node]]\nnumber = " + std::to_string(node) + "\n";
        for (int network = 0; network < 48; ++network) {
            const std::string number = std::to_string(network);
            text += "[[node.adapter]]\nnetwork = " + number + "\naddress = \"10." + number + "." +
                    std::to_string(node / 256) + "." + std::to_string(node % 256) + "\"\ntype = \"eth" +
                    number + "\"\n";
        }
    }
    return text;
}

std::string two_chains_file() {
    const std::vector<std::vector<int>> networks_of = {{0, 1}, {0, 2}, {2, 4}, {4, 6}, {6, 8, 9},
                                                       {1, 3}, {3, 5}, {5, 7}, {7, 8}, {7, 9}};
    constexpr int WITHOUT_IP = 9;
    std::string text = "[cluster]\nlocal_node = 0\nmax_nodes = 64\nadapters_per_node = 10\n";
    for (int network = 0; network < 10; ++network) {
        const std::string number = std::to_string(network);
        text += "[[network]]\nnumber = " + number + "\nname = \"link" + number + "\"\n";
    }
    for (std::size_t node = 0; node < networks_of.size(); ++node) {
        text += "[[node]]\nnumber = " + std::to_string(node) + "\n";
        for (const int network : networks_of[node]) {
            const std::string address = "10." + std::to_string(network) + ".0." + std::to_string(node + 1);
            text += "[[node.adapter]]\nnetwork = " + std::to_string(network) + "\naddress = \"" +
                    (network == WITHOUT_IP ? "none" : address) + "\"\n";
        }
    }
    return text;
}

std::string replaced(std::string text, const std::string &what, const std::string &with) {
    const std::size_t at = text.find(what);
    if (at == std::string::npos) {
        throw std::invalid_argument("there is no: " + what);
    }
    return text.replace(at, what.size(), with);
}

} // namespace hb_test
