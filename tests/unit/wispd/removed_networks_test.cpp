// SPDX-License-Identifier: Apache-2.0
// Networks that are removed from the configuration, in the snapshot.
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/cluster.h"
#include "daemon/publisher/packets.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using wispd::Cluster;
using wispd::Configuration;
using wispd_test::field;
using wispd_test::join;
using wispd_test::three_nodes;
using wispd_test::zeros;

int32_t networks_in(const std::vector<char> &snapshot) {
    int32_t count = -1;
    std::memcpy(&count, snapshot.data() + 16, sizeof count);
    return count;
}

std::vector<char> last_bytes(const std::vector<char> &snapshot, std::size_t count) {
    return {snapshot.end() - static_cast<std::ptrdiff_t>(count), snapshot.end()};
}

const std::vector<char> NET_A = join(field("net_a", 70), field("ether", 16));
const std::vector<char> NET_B = join(field("net_b", 70), field("ether", 16));

// Without network 1 and the adapters on it.
Configuration one_network() {
    Configuration configuration = three_nodes();
    configuration.networks.pop_back();
    for (wispd::Configured_Node &node : configuration.nodes) {
        node.adapters.pop_back();
    }
    return configuration;
}

TEST(WispdNetworks, ThatGoLeaveAnEmptyEntryInTheNextSnapshot) {
    Cluster cluster(three_nodes());
    const auto before = wispd::encode_snapshot(cluster);
    EXPECT_EQ(networks_in(*before), 2);
    EXPECT_EQ(last_bytes(*before, 172), join(NET_A, NET_B));

    cluster.reconfigure(one_network());
    const auto after = wispd::encode_snapshot(cluster);
    EXPECT_EQ(networks_in(*after), 2) << "a client keeps what it held for a number that is not listed";
    EXPECT_EQ(last_bytes(*after, 172), join(NET_A, zeros(86)));
}

TEST(WispdNetworks, ThatGoFromTheFrontLeaveAnEmptyEntryToo) {
    Cluster cluster(three_nodes());
    Configuration configuration = three_nodes();
    configuration.networks.erase(configuration.networks.begin());
    for (wispd::Configured_Node &node : configuration.nodes) {
        node.adapters.erase(node.adapters.begin());
    }
    cluster.reconfigure(configuration);
    EXPECT_EQ(last_bytes(*wispd::encode_snapshot(cluster), 172), join(zeros(86), NET_B));
}

TEST(WispdNetworks, ThatComeBackTakeTheirEntryAgain) {
    Cluster cluster(three_nodes());
    cluster.reconfigure(one_network());
    cluster.reconfigure(one_network());
    EXPECT_EQ(last_bytes(*wispd::encode_snapshot(cluster), 172), join(NET_A, zeros(86)));
    cluster.reconfigure(three_nodes());
    const auto snapshot = wispd::encode_snapshot(cluster);
    EXPECT_EQ(networks_in(*snapshot), 2);
    EXPECT_EQ(last_bytes(*snapshot, 172), join(NET_A, NET_B));
}

TEST(WispdNetworks, BeyondTheSlotsOfANodeAreNotListed) {
    Cluster cluster(three_nodes());
    Configuration configuration = one_network();
    configuration.adapters_per_node = 1;
    cluster.reconfigure(configuration);
    const auto snapshot = wispd::encode_snapshot(cluster);
    EXPECT_EQ(networks_in(*snapshot), 1);
    EXPECT_EQ(last_bytes(*snapshot, 86), NET_A);
}

} // namespace
