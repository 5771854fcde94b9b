// SPDX-License-Identifier: Apache-2.0
// How a cluster service sees a cluster that a heartbeat daemon's file describes.
#include <cstring>

#include <gtest/gtest.h>

#include "cluster/address.h"
#include "cluster/configuration.h"
#include "providers/service/cluster_picture.h"

namespace mox_service {
namespace {

wispd::Configured_Adapter adapter(int network, const std::string &address, const std::string &type) {
    wispd::Configured_Adapter made;
    made.network = static_cast<Hb_Network_Number>(network);
    made.address = *wispd::parse_address(address);
    made.type = type;
    return made;
}

// Node 2 has two adapters, node 5 has one. There are networks 0 to 2, and four adapter slots a node.
wispd::Configuration two_nodes() {
    wispd::Configuration cluster;
    cluster.name = "two";
    cluster.local_node = 2;
    cluster.max_nodes = 6;
    cluster.adapters_per_node = 4;
    cluster.networks = {{0, "a", "ether"}, {1, "b", "ether"}, {2, "c", "ether"}};
    cluster.nodes = {{2, "two", {adapter(0, "10.0.0.2", "eth0"), adapter(2, "fd00::2", "eth2")}},
                     {5, "five", {adapter(1, "10.1.0.5", "eth1")}}};
    return cluster;
}

std::string bytes_of(const qz_mox_IP_address6_t &address) {
    char bytes[sizeof address];
    std::memcpy(bytes, &address, sizeof address);
    return std::string(bytes, sizeof bytes);
}

TEST(ClusterPicture, NodesAndInterfacesComeInTheOrderOfTheirNumbers) {
    const Picture picture = picture_of(wispd::Cluster(two_nodes()));
    ASSERT_EQ(2U, picture.nodes.size());
    EXPECT_EQ(2U, picture.nodes[0].number);
    EXPECT_EQ("two", picture.nodes[0].name);
    EXPECT_EQ(QZ_MOX_NODE_STATUS_UP, picture.nodes[0].status);
    EXPECT_EQ(5U, picture.nodes[1].number);
    ASSERT_EQ(3U, picture.interfaces.size());
    EXPECT_EQ(2U, picture.interfaces[0].node);
    EXPECT_EQ("eth0", picture.interfaces[0].name);
    EXPECT_EQ("eth2", picture.interfaces[1].name);
    EXPECT_EQ(5U, picture.interfaces[2].node);
    EXPECT_EQ("eth1", picture.interfaces[2].name);
    EXPECT_EQ(QZ_MOX_INTF_STATUS_UP, picture.interfaces[2].status);
}

TEST(ClusterPicture, AddressesKeepTheirBytes) {
    const Picture picture = picture_of(wispd::Cluster(two_nodes()));
    const std::string mapped("\0\0\0\0\0\0\0\0\0\0\xFF\xFF\x0A\0\0\x02", 16);
    const std::string plain("\xFD\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x02", 16);
    ASSERT_EQ(3U, picture.interfaces.size());
    EXPECT_EQ(mapped, bytes_of(picture.interfaces[0].address));
    EXPECT_EQ(plain, bytes_of(picture.interfaces[1].address));
}

TEST(ClusterPicture, WhoIsDownIsThereAndWhoLeftIsNot) {
    wispd::Cluster cluster(two_nodes());
    cluster.node_down(5);
    Picture picture = picture_of(cluster);
    ASSERT_EQ(2U, picture.nodes.size());
    EXPECT_EQ(QZ_MOX_NODE_STATUS_DOWN, picture.nodes[1].status);
    ASSERT_EQ(3U, picture.interfaces.size());
    EXPECT_EQ(QZ_MOX_INTF_STATUS_DOWN, picture.interfaces[2].status);

    cluster.node_leave(5);
    picture = picture_of(cluster);
    ASSERT_EQ(1U, picture.nodes.size());
    EXPECT_EQ(2U, picture.interfaces.size());
}

TEST(ClusterPicture, AnInterfaceWithoutANameOfItsOwnIsNamedByItsNetwork) {
    wispd::Configuration cluster = two_nodes();
    cluster.nodes[0].adapters[1].type = "eth0";
    cluster.nodes[1].adapters[0].type = "";
    const Picture picture = picture_of(wispd::Cluster(cluster));
    ASSERT_EQ(3U, picture.interfaces.size());
    EXPECT_EQ("net0", picture.interfaces[0].name);
    EXPECT_EQ("net2", picture.interfaces[1].name);
    EXPECT_EQ("net1", picture.interfaces[2].name);
}

} // namespace
} // namespace mox_service
