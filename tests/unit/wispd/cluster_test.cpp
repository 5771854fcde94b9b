// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/cluster.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using wispd::Adapter_Member;
using wispd::Changes;
using wispd::Cluster;
using wispd::Configuration;
using wispd::Refused;
using wispd_test::adapter;
using wispd_test::three_nodes;

using Members = std::vector<Adapter_Member>;

std::string refusal(const std::function<void()> &operation) {
    try {
        operation();
    } catch (const Refused &error) {
        return error.what();
    }
    return "nothing was refused";
}

TEST(WispdCluster, StartsWithEveryAdapterUpAtIncarnationOne) {
    const Cluster cluster(three_nodes());
    EXPECT_EQ(cluster.adapters_up(), (Members{{2, 1}, {3, 1}, {4, 1}, {5, 1}, {6, 1}, {7, 1}}));
    EXPECT_THAT(cluster.nodes_up(), ElementsAre(1, 2, 3));
    EXPECT_EQ(cluster.configuration_sequence(), 1u);
    EXPECT_EQ(cluster.configured_adapters(), 6);
}

TEST(WispdCluster, NodeDownTakesItsAdaptersDownAndThenTheNode) {
    Cluster cluster(three_nodes());
    const Changes changes = cluster.node_down(3);
    EXPECT_EQ(changes.adapter_deaths, (Members{{6, 1}, {7, 1}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(3));
    EXPECT_FALSE(changes.configuration_updated);
    EXPECT_THAT(changes.adapter_joins, IsEmpty());
    EXPECT_THAT(cluster.nodes_up(), ElementsAre(1, 2));
}

TEST(WispdCluster, NodeUpBringsAdaptersUpWithTheNextIncarnation) {
    Cluster cluster(three_nodes());
    cluster.node_down(3);
    const Changes changes = cluster.node_up(3);
    EXPECT_EQ(changes.adapter_joins, (Members{{6, 2}, {7, 2}}));
    EXPECT_THAT(changes.node_joins, ElementsAre(3));
    EXPECT_FALSE(changes.configuration_updated);
}

TEST(WispdCluster, NodeUpBringsUpOnlyWhatIsDown) {
    Cluster cluster(three_nodes());
    cluster.adapter_down(6);
    const Changes changes = cluster.node_up(3);
    EXPECT_EQ(changes.adapter_joins, (Members{{6, 2}}));
    EXPECT_THAT(changes.node_joins, IsEmpty());
}

TEST(WispdCluster, NodeDiesWithItsLastAdapter) {
    Cluster cluster(three_nodes());
    EXPECT_THAT(cluster.adapter_down(4).node_deaths, IsEmpty());
    const Changes changes = cluster.adapter_down(5);
    EXPECT_EQ(changes.adapter_deaths, (Members{{5, 1}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(2));
}

TEST(WispdCluster, NodeJoinsWithItsFirstAdapter) {
    Cluster cluster(three_nodes());
    cluster.node_down(2);
    const Changes changes = cluster.adapter_up(5);
    EXPECT_EQ(changes.adapter_joins, (Members{{5, 2}}));
    EXPECT_THAT(changes.node_joins, ElementsAre(2));
    EXPECT_THAT(cluster.adapter_up(4).node_joins, IsEmpty());
}

TEST(WispdCluster, LocalNodeStaysUpWithoutAnAdapter) {
    Cluster cluster(three_nodes());
    EXPECT_THAT(cluster.adapter_down(2).node_deaths, IsEmpty());
    EXPECT_THAT(cluster.adapter_down(3).node_deaths, IsEmpty());
    EXPECT_THAT(cluster.nodes_up(), ElementsAre(1, 2, 3));
    EXPECT_THAT(cluster.node_up(1).node_joins, IsEmpty());
}

TEST(WispdCluster, LocalNodeCanNeitherDieNorLeave) {
    Cluster cluster(three_nodes());
    EXPECT_THAT(refusal([&] { cluster.node_down(1); }), HasSubstr("node 1 is the local node"));
    EXPECT_THAT(refusal([&] { cluster.node_leave(1); }), HasSubstr("node 1 is the local node"));
    cluster.adapter_leave(2);
    EXPECT_THAT(refusal([&] { cluster.adapter_leave(3); }), HasSubstr("last adapter of the local node"));
}

TEST(WispdCluster, NodeLeaveCarriesTheRemovalFlagAndUpdatesTheConfiguration) {
    Cluster cluster(three_nodes());
    cluster.adapter_down(6);
    cluster.adapter_up(6);
    const Changes changes = cluster.node_leave(3);
    EXPECT_EQ(changes.adapter_deaths, (Members{{6, 0x08000002}, {7, 0x08000001}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(3));
    EXPECT_TRUE(changes.configuration_updated);
    EXPECT_EQ(cluster.configuration_sequence(), 2u);
    EXPECT_EQ(cluster.configured_adapters(), 4);
    EXPECT_THAT(refusal([&] { cluster.node_up(3); }), HasSubstr("node 3 is not in the configuration"));
}

TEST(WispdCluster, DeadNodeLeavesWithoutDyingAgain) {
    Cluster cluster(three_nodes());
    cluster.node_down(3);
    const Changes changes = cluster.node_leave(3);
    EXPECT_THAT(changes.adapter_deaths, IsEmpty());
    EXPECT_THAT(changes.node_deaths, IsEmpty());
    EXPECT_TRUE(changes.configuration_updated);
}

TEST(WispdCluster, NodeJoinUpdatesTheConfigurationAndNeverRepeatsAnIncarnation) {
    Cluster cluster(three_nodes());
    cluster.node_leave(3);
    const Changes changes = cluster.node_join(3);
    EXPECT_TRUE(changes.configuration_updated);
    EXPECT_EQ(changes.adapter_joins, (Members{{6, 2}, {7, 2}}));
    EXPECT_THAT(changes.node_joins, ElementsAre(3));
    EXPECT_THAT(refusal([&] { cluster.node_join(3); }), HasSubstr("in the configuration already"));
    EXPECT_THAT(refusal([&] { cluster.node_join(5); }), HasSubstr("node 5 is unknown"));
}

TEST(WispdCluster, AdapterJoinsWithAnAddressAndBringsItsNodeWithIt) {
    Cluster cluster(three_nodes());
    EXPECT_THAT(refusal([&] { cluster.adapter_join(10, {}, {}); }), HasSubstr("give its address"));
    EXPECT_THAT(refusal([&] { cluster.adapter_join(10, wispd::parse_address("10.1.0.2"), {}); }),
                HasSubstr("address 10.1.0.2 already belongs to adapter 4"));
    const Changes changes = cluster.adapter_join(10, wispd::parse_address("10.1.0.5"), "eth9");
    EXPECT_TRUE(changes.configuration_updated);
    EXPECT_EQ(changes.adapter_joins, (Members{{10, 1}}));
    EXPECT_THAT(changes.node_joins, ElementsAre(5));
    EXPECT_EQ(cluster.adapters()[10].type, "eth9");
    EXPECT_EQ(cluster.configured_adapters(), 7);
}

TEST(WispdCluster, AdapterCannotJoinANetworkThatIsNotThere) {
    Configuration configuration = three_nodes();
    configuration.adapters_per_node = 3;
    Cluster cluster(configuration);
    EXPECT_THAT(refusal([&] { cluster.adapter_join(17, wispd::parse_address("10.9.0.1"), {}); }),
                HasSubstr("network 2, which is not configured"));
}

TEST(WispdCluster, RefusesWhatIsSoAlreadyAndWhatIsOutOfRange) {
    Cluster cluster(three_nodes());
    EXPECT_EQ(refusal([&] { cluster.node_up(2); }), "node 2 and all its adapters are up already");
    cluster.node_down(2);
    EXPECT_EQ(refusal([&] { cluster.node_down(2); }), "node 2 is down already");
    EXPECT_EQ(refusal([&] { cluster.adapter_down(4); }), "adapter 4 is down already");
    EXPECT_EQ(refusal([&] { cluster.adapter_up(6); }), "adapter 6 is up already");
    EXPECT_EQ(refusal([&] { cluster.node_down(8); }), "node 8 is out of range: node numbers run from 0 to 7");
    EXPECT_EQ(refusal([&] { cluster.adapter_up(16); }),
              "adapter 16 is out of range: adapter numbers run from 0 to 15");
    EXPECT_EQ(refusal([&] { cluster.adapter_up(0); }), "adapter 0 is not in the configuration");
    EXPECT_EQ(cluster.adapters_up().size(), 4u);
}

TEST(WispdCluster, GroupIncarnationGrowsWithEachChangeOfMembership) {
    Cluster cluster(three_nodes());
    EXPECT_EQ(cluster.group_incarnation(), 1u);
    cluster.node_down(3);
    EXPECT_EQ(cluster.group_incarnation(), 2u);
    cluster.set_heartbeat({1, 0, true});
    EXPECT_EQ(cluster.group_incarnation(), 2u);
}

TEST(WispdIncarnation, SkipsTheRemovalFlagAndAllBits) {
    EXPECT_EQ(wispd::next_incarnation(0), 1u);
    EXPECT_EQ(wispd::next_incarnation(0x07FFFFFF), 0x10000000u);
    EXPECT_EQ(wispd::next_incarnation(0x17FFFFFF), 0x20000000u);
    EXPECT_EQ(wispd::next_incarnation(0xF7FFFFFF), 1u);
}

// ---- reconfigure ----

TEST(WispdReconfigure, SameConfigurationIsAnUpdateAndNothingElse) {
    Cluster cluster(three_nodes());
    const Changes changes = cluster.reconfigure(three_nodes());
    EXPECT_TRUE(changes.configuration_updated);
    EXPECT_THAT(changes.adapter_deaths, IsEmpty());
    EXPECT_THAT(changes.node_deaths, IsEmpty());
    EXPECT_THAT(changes.adapter_joins, IsEmpty());
    EXPECT_THAT(changes.node_joins, IsEmpty());
    EXPECT_EQ(cluster.configuration_sequence(), 2u);
}

TEST(WispdReconfigure, KeepsTheLivenessOfWhoStays) {
    Cluster cluster(three_nodes());
    cluster.node_down(3);
    const Changes changes = cluster.reconfigure(three_nodes());
    EXPECT_THAT(changes.adapter_joins, IsEmpty());
    EXPECT_THAT(cluster.nodes_up(), ElementsAre(1, 2));
}

TEST(WispdReconfigure, FollowsAStateThatChangedInTheFile) {
    Configuration down = three_nodes();
    down.nodes[2].adapters[0].up = false;
    down.nodes[2].adapters[1].up = false;
    Cluster cluster(three_nodes());
    Changes changes = cluster.reconfigure(down);
    EXPECT_EQ(changes.adapter_deaths, (Members{{6, 1}, {7, 1}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(3));
    changes = cluster.reconfigure(three_nodes());
    EXPECT_EQ(changes.adapter_joins, (Members{{6, 2}, {7, 2}}));
    EXPECT_THAT(changes.node_joins, ElementsAre(3));
}

TEST(WispdReconfigure, RemovedMembersDieWithTheFlagAndNewOnesJoin) {
    Configuration next = three_nodes();
    next.nodes.pop_back();
    next.nodes[1].adapters.pop_back();
    next.nodes.push_back({6, "zeta", {adapter(1, "10.2.0.6")}});
    Cluster cluster(three_nodes());
    const Changes changes = cluster.reconfigure(next);
    EXPECT_EQ(changes.adapter_deaths, (Members{{5, 0x08000001}, {6, 0x08000001}, {7, 0x08000001}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(3));
    EXPECT_EQ(changes.adapter_joins, (Members{{13, 1}}));
    EXPECT_THAT(changes.node_joins, ElementsAre(6));
    EXPECT_EQ(cluster.configured_adapters(), 4);
}

TEST(WispdReconfigure, MemberThatComesBackHasANewIncarnation) {
    Configuration without = three_nodes();
    without.nodes.pop_back();
    Cluster cluster(three_nodes());
    cluster.reconfigure(without);
    EXPECT_EQ(cluster.reconfigure(three_nodes()).adapter_joins, (Members{{6, 2}, {7, 2}}));
}

TEST(WispdReconfigure, WhoLeftByCommandComesBackWithTheFile) {
    Cluster cluster(three_nodes());
    cluster.node_leave(3);
    EXPECT_THAT(cluster.reconfigure(three_nodes()).node_joins, ElementsAre(3));
}

TEST(WispdReconfigure, RenumberedAdaptersLeaveAndJoinWhileTheirNodesStay) {
    Configuration wider = three_nodes();
    wider.adapters_per_node = 3;
    Cluster cluster(three_nodes());
    const Changes changes = cluster.reconfigure(wider);
    EXPECT_EQ(changes.adapter_deaths, (Members{{2, 0x08000001},
                                               {3, 0x08000001},
                                               {4, 0x08000001},
                                               {5, 0x08000001},
                                               {6, 0x08000001},
                                               {7, 0x08000001}}));
    EXPECT_EQ(changes.adapter_joins, (Members{{3, 2}, {4, 2}, {6, 2}, {7, 2}, {9, 2}, {10, 2}}));
    EXPECT_THAT(changes.node_deaths, IsEmpty());
    EXPECT_THAT(changes.node_joins, IsEmpty());
}

TEST(WispdReconfigure, FewerNodeSlotsTellTheDeathsByTheOldNumbering) {
    Configuration smaller = three_nodes();
    smaller.max_nodes = 3;
    smaller.nodes.pop_back();
    Cluster cluster(three_nodes());
    const Changes changes = cluster.reconfigure(smaller);
    EXPECT_THAT(changes.node_deaths, ElementsAre(3));
    EXPECT_EQ(changes.node_slots_at_death, 8);
    EXPECT_EQ(cluster.max_nodes(), 3);
}

TEST(WispdReconfigure, MoreNodeSlotsLetNewNodesInAndDisturbNobody) {
    Configuration larger = three_nodes();
    larger.max_nodes = 2049;
    larger.nodes.push_back({2048, "omega", {adapter(1, "10.2.8.0")}});
    Cluster cluster(three_nodes());
    const Changes changes = cluster.reconfigure(larger);
    EXPECT_THAT(changes.adapter_deaths, IsEmpty());
    EXPECT_EQ(changes.adapter_joins, (Members{{4097, 1}}));
    EXPECT_THAT(changes.node_joins, ElementsAre(2048));
    EXPECT_EQ(changes.node_slots_at_death, 8);
}

TEST(WispdReconfigure, LocalNodeCannotChange) {
    Configuration other = three_nodes();
    other.local_node = 2;
    Cluster cluster(three_nodes());
    EXPECT_THAT(refusal([&] { cluster.reconfigure(other); }),
                HasSubstr("local_node cannot change from 1 to 2"));
    EXPECT_EQ(cluster.configuration_sequence(), 1u);
}

TEST(WispdReconfigure, TellsHeartbeatSettingsOnlyWhenTheyChange) {
    Configuration with = three_nodes();
    with.heartbeat = wispd::Heartbeat{2, 5, true};
    Cluster cluster(three_nodes());
    EXPECT_EQ(cluster.reconfigure(with).heartbeat, (wispd::Heartbeat{2, 5, true}));
    EXPECT_FALSE(cluster.reconfigure(with).heartbeat.has_value());
    EXPECT_FALSE(cluster.reconfigure(three_nodes()).heartbeat.has_value());
}

TEST(WispdCluster, LargestGeometryIsTaken) {
    Configuration largest;
    largest.local_node = 0;
    largest.max_nodes = 2049;
    largest.adapters_per_node = 48;
    for (int network = 0; network < 48; ++network) {
        largest.networks.push_back(
            {static_cast<Hb_Network_Number>(network), "n" + std::to_string(network), "ether"});
    }
    for (int node = 0; node < 2049; ++node) {
        largest.nodes.push_back({static_cast<Hb_Node_Number>(node), "n", {}});
        for (int network = 0; network < 48; ++network) {
            Hb_IP_address6 address{};
            address.v4_in_v6.v4_in_v6_ipv4 = static_cast<uint32_t>(node * 48 + network + 1);
            largest.nodes.back().adapters.push_back(
                {static_cast<Hb_Network_Number>(network), address, "e", true});
        }
    }
    Cluster cluster(largest);
    EXPECT_EQ(cluster.configured_adapters(), 98352);
    EXPECT_EQ(cluster.node_down(2048).adapter_deaths.back(), (Adapter_Member{98351, 1}));
    EXPECT_THAT(cluster.reconfigure(largest).adapter_deaths, IsEmpty());
}

} // namespace
