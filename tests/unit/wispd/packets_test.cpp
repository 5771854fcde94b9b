// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "daemon/publisher/packets.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using wispd::Body;
using wispd::Cluster;
using wispd::Packet;
using wispd_test::field;
using wispd_test::hex;
using wispd_test::join;
using wispd_test::three_nodes;
using wispd_test::zeros;

std::vector<char> head_bytes(const Packet &packet, std::size_t body_size) {
    const wispd::Packet_Head head = wispd::encode_head(packet, body_size);
    return {head.begin(), head.end()};
}

TEST(WispdPackets, EmptyHeadIsLengthKindAndZeros) {
    Packet packet;
    packet.kind = HB_FFDC_ID;
    EXPECT_EQ(head_bytes(packet, 0), join(hex("6c000000"), hex("0c000000"), zeros(104)));
}

TEST(WispdPackets, EveryHeadFieldStandsAtItsPlace) {
    Packet packet;
    packet.kind = HB_ADAPTER_NEW_GROUP;
    packet.leader = 0x01020304;
    packet.group_incarnation = 0x11121314;
    packet.status = 1;
    packet.subscription = "alerts";
    packet.value = 0x21222324;
    packet.failure_id = "ID-7";
    packet.sequence = 0x31323334;
    EXPECT_EQ(head_bytes(packet, 20),
              join(hex("80000000"),                      // 128 bytes follow
                   hex("04000000"),                      // kind
                   hex("04030201 00000000"),             // leader_id
                   hex("04030201 14131211"),             // group_id
                   hex("01000000"),                      // group_status
                   field("alerts", 32), hex("24232221"), // subscription_name, value
                   field("ID-7", 43), hex("00"), hex("34333231")));
}

TEST(WispdPackets, LongTextsEndInNul) {
    Packet packet;
    const std::string name(40, 'n');
    const std::string id(50, 'i');
    packet.subscription = name;
    packet.failure_id = id;
    const std::vector<char> head = head_bytes(packet, 0);
    EXPECT_EQ(std::string(head.data() + 4 + 24), std::string(31, 'n'));
    EXPECT_EQ(std::string(head.data() + 4 + 60), std::string(42, 'i'));
}

TEST(WispdPackets, SnapshotOfASmallCluster) {
    wispd::Configuration configuration;
    configuration.local_node = 1;
    configuration.max_nodes = 3;
    configuration.adapters_per_node = 2;
    configuration.networks = {{1, "net_b", "ether"}};
    configuration.nodes = {{1, "a", {wispd_test::adapter(1, "10.2.0.1")}},
                           {2, "b", {wispd_test::adapter(1, "fd00::2", false)}}};
    const Body body = wispd::encode_snapshot(Cluster(configuration));
    EXPECT_EQ(*body, join(hex("0100 0000 03000000 02000000 02000000 02000000"),
                          // node 1
                          hex("00000000 00000000 0000ffff 0a020001"), hex("0100"), field("eth", 36), zeros(2),
                          hex("03000000"), hex("01000000"),
                          // node 2
                          hex("fd000000 00000000 00000000 00000002"), hex("0100"), field("eth", 36), zeros(2),
                          hex("05000000"), hex("02000000"),
                          // network 0 is not configured, network 1 is
                          zeros(86), field("net_b", 70), field("ether", 16)));
}

TEST(WispdPackets, AdapterMembersAreCountedFromMinusOne) {
    EXPECT_EQ(*wispd::encode_adapter_members({}), hex("ffffffff"));
    const std::vector<wispd::Adapter_Member> one = {{5, 1}};
    EXPECT_EQ(*wispd::encode_adapter_members(one), hex("00000000 05000000 01000000"));
    const std::vector<wispd::Adapter_Member> two = {{6, 0x08000002}, {98351, 3}};
    EXPECT_EQ(*wispd::encode_adapter_members(two), hex("01000000 06000000 02000008 2f800100 03000000"));
}

TEST(WispdPackets, NodeMembersAreOneIntForEachSlot) {
    const std::vector<Hb_Node_Number> members = {0, 3};
    EXPECT_EQ(*wispd::encode_node_members(members, 5), hex("01000000 00000000 00000000 01000000 00000000"));
}

TEST(WispdPackets, HeartbeatIsFourInts) {
    EXPECT_EQ(*wispd::encode_heartbeat({2, 500000, true}, 4660), hex("02000000 20a10700 01000000 34120000"));
}

TEST(WispdPackets, ForeignInstanceIsAddressAndInstance) {
    EXPECT_EQ(*wispd::encode_foreign_instance({wispd::parse_address("192.0.2.7").value(), 0x01020304}),
              hex("00000000 00000000 0000ffff c0000207 04030201"));
}

TEST(WispdPackets, LargestSnapshotHasItsExactSize) {
    wispd::Configuration largest;
    largest.max_nodes = 2049;
    largest.adapters_per_node = 48;
    for (int network = 0; network < 48; ++network) {
        largest.networks.push_back({static_cast<Hb_Network_Number>(network), "n", "t"});
    }
    for (int node = 0; node < 2049; ++node) {
        largest.nodes.push_back({static_cast<Hb_Node_Number>(node), "n", {}});
        for (int network = 0; network < 48; ++network) {
            largest.nodes.back().adapters.push_back({static_cast<Hb_Network_Number>(network), {}, "e", true});
        }
    }
    const Body body = wispd::encode_snapshot(Cluster(largest));
    EXPECT_EQ(body->size(), 20u + 64u * 98352u + 86u * 48u);
    EXPECT_EQ(body->size(), 6298676u);
}

} // namespace
