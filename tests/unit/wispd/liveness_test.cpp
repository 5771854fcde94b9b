// SPDX-License-Identifier: Apache-2.0
// A cluster whose members come from an engine: node states no longer follow from their adapters.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/cluster.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wispd::Adapter_Member;
using wispd::Changes;
using wispd::Cluster;
using wispd::Configuration;
using wispd::Liveness;
using wispd_test::three_nodes;

using Members = std::vector<Adapter_Member>;

// Nodes 1 to 3 with adapters 2 to 7; node 1 is the local node. The configuration alone has no member up.
Configuration nobody_up() {
    Configuration configuration = three_nodes();
    for (wispd::Configured_Node &node : configuration.nodes) {
        for (wispd::Configured_Adapter &adapter : node.adapters) {
            adapter.up = false;
        }
    }
    return configuration;
}

const Liveness EVERYBODY{{1, 2, 3}, {2, 3, 4, 5, 6, 7}, {}, {}};

TEST(WispdLiveness, WhoIsAliveJoinsOnce) {
    Cluster cluster(nobody_up());
    EXPECT_THAT(cluster.nodes_up(), ElementsAre(1)); // wispd runs on it
    const Changes changes = cluster.set_liveness(EVERYBODY);
    EXPECT_EQ(changes.adapter_joins, (Members{{2, 1}, {3, 1}, {4, 1}, {5, 1}, {6, 1}, {7, 1}}));
    EXPECT_THAT(changes.node_joins, ElementsAre(2, 3));
    EXPECT_THAT(changes.adapter_deaths, IsEmpty());
    EXPECT_FALSE(changes.configuration_updated);
    EXPECT_FALSE(cluster.set_liveness(EVERYBODY).any());
}

TEST(WispdLiveness, ANodeWhoseLinksAreDownIsUpAsLongAsItIsAMember) {
    Cluster cluster(nobody_up());
    cluster.set_liveness(EVERYBODY);
    Changes changes = cluster.set_liveness({{1, 2, 3}, {2, 3, 4, 5}, {}, {}});
    EXPECT_EQ(changes.adapter_deaths, (Members{{6, 1}, {7, 1}}));
    EXPECT_THAT(changes.node_deaths, IsEmpty());
    EXPECT_THAT(cluster.nodes_up(), ElementsAre(1, 2, 3));
    changes = cluster.set_liveness({{1, 2}, {2, 3, 4, 5}, {}, {}});
    EXPECT_THAT(changes.adapter_deaths, IsEmpty());
    EXPECT_THAT(changes.node_deaths, ElementsAre(3));
}

TEST(WispdLiveness, ANodeThatIsNoMemberTakesItsAdaptersWithIt) {
    Cluster cluster(nobody_up());
    cluster.set_liveness(EVERYBODY);
    const Changes changes = cluster.set_liveness({{1, 2}, {2, 3, 4, 5, 6, 7}, {}, {}});
    EXPECT_EQ(changes.adapter_deaths, (Members{{6, 1}, {7, 1}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(3));
}

TEST(WispdLiveness, AMemberWithoutALinkIsUp) {
    Cluster cluster(nobody_up());
    const Changes changes = cluster.set_liveness({{1, 2}, {}, {}, {}});
    EXPECT_THAT(changes.node_joins, ElementsAre(2));
    EXPECT_THAT(changes.adapter_joins, IsEmpty());
}

TEST(WispdLiveness, WhoWentAndCameBackDiesAndJoins) {
    Cluster cluster(nobody_up());
    cluster.set_liveness(EVERYBODY);
    Liveness after = EVERYBODY;
    after.nodes_back = {3};
    after.adapters_back = {5};
    const Changes changes = cluster.set_liveness(after);
    EXPECT_EQ(changes.adapter_deaths, (Members{{5, 1}, {6, 1}, {7, 1}}));
    EXPECT_EQ(changes.adapter_joins, (Members{{5, 2}, {6, 2}, {7, 2}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(3));
    EXPECT_THAT(changes.node_joins, ElementsAre(3));
}

TEST(WispdLiveness, WhoComesBackAndWasNotUpOnlyJoins) {
    Cluster cluster(nobody_up());
    cluster.set_liveness({{1, 2}, {2, 3, 4, 5}, {}, {}});
    Liveness after = EVERYBODY;
    after.nodes_back = {3};
    after.adapters_back = {6};
    const Changes changes = cluster.set_liveness(after);
    EXPECT_THAT(changes.adapter_deaths, IsEmpty());
    EXPECT_EQ(changes.adapter_joins, (Members{{6, 1}, {7, 1}}));
    EXPECT_THAT(changes.node_deaths, IsEmpty());
    EXPECT_THAT(changes.node_joins, ElementsAre(3));
}

TEST(WispdLiveness, TheLocalNodeIsAMemberWhateverIsTold) {
    Cluster cluster(nobody_up());
    cluster.set_liveness(EVERYBODY);
    Liveness none;
    none.nodes_back = {1};
    none.adapters = {2};
    const Changes changes = cluster.set_liveness(none);
    EXPECT_EQ(changes.adapter_deaths, (Members{{3, 1}, {4, 1}, {5, 1}, {6, 1}, {7, 1}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(2, 3));
    EXPECT_THAT(cluster.nodes_up(), ElementsAre(1));
}

TEST(WispdLiveness, WhoIsNotConfiguredIsPassedOver) {
    Cluster cluster(nobody_up());
    EXPECT_FALSE(cluster.set_liveness({{1, 0, 2047, -1}, {0, 1, 98351, -1}, {2000}, {9}}).any());
}

TEST(WispdLiveness, WhatAClientHoldsDownStaysDown) {
    Cluster cluster(nobody_up());
    cluster.set_liveness(EVERYBODY);
    cluster.adapter_disable(2);
    EXPECT_FALSE(cluster.set_liveness(EVERYBODY).any());
    const Changes changes = cluster.adapter_enable(2);
    EXPECT_EQ(changes.adapter_joins, (Members{{2, 2}}));
}

TEST(WispdLiveness, ANewConfigurationKeepsWhoIsUp) {
    Cluster cluster(nobody_up());
    cluster.set_liveness(EVERYBODY);
    Configuration next = nobody_up();
    next.nodes[2].adapters.pop_back(); // adapter 7
    const Changes changes = cluster.reconfigure(next);
    EXPECT_TRUE(changes.configuration_updated);
    EXPECT_EQ(changes.adapter_deaths, (Members{{7, 1 | 0x08000000}}));
    EXPECT_THAT(changes.node_deaths, IsEmpty());
    EXPECT_THAT(changes.adapter_joins, IsEmpty());
    EXPECT_FALSE(cluster.set_liveness({{1, 2, 3}, {2, 3, 4, 5, 6}, {}, {}}).any());
}

TEST(WispdLiveness, WhatIsDownByTheEngineComesUpByTheEngineAlone) {
    Cluster cluster(nobody_up());
    cluster.set_liveness({{1, 2}, {2, 4, 5}, {}, {}});
    cluster.adapter_disable(3);
    EXPECT_FALSE(cluster.adapter_enable(3).any());
    EXPECT_EQ(cluster.set_liveness({{1, 2}, {2, 3, 4, 5}, {}, {}}).adapter_joins, (Members{{3, 1}}));
}

TEST(WispdLiveness, AdaptersComeUpWithTheIncarnationOfTheirNodeAtLeast) {
    Cluster cluster(nobody_up());
    Liveness told = EVERYBODY;
    told.incarnations = {{1, 1}, {2, 5}, {3, 1}};
    EXPECT_EQ(cluster.set_liveness(told).adapter_joins,
              (Members{{2, 1}, {3, 1}, {4, 5}, {5, 5}, {6, 1}, {7, 1}}));
    told.nodes_back = {2, 3};
    told.incarnations = {{1, 1}, {2, 2}, {3, 9}};
    EXPECT_EQ(cluster.set_liveness(told).adapter_joins, (Members{{4, 6}, {5, 6}, {6, 9}, {7, 9}}));
}

// ---- A cluster that is an engine's altogether ----

Configuration told_by_engine() {
    Configuration configuration = nobody_up();
    configuration.is_from_engine = true;
    return configuration;
}

TEST(WispdLiveness, WhatWouldSayOtherwiseThanTheEngineIsRefused) {
    Cluster cluster(told_by_engine());
    cluster.set_liveness({{1, 2}, {2, 3, 4, 5}, {}, {}});
    const Hb_IP_address6 address = wispd::parse_address("10.9.9.9").value();
    EXPECT_THROW(cluster.node_up(3), wispd::Refused);
    EXPECT_THROW(cluster.node_down(2), wispd::Refused);
    EXPECT_THROW(cluster.node_join(4), wispd::Refused);
    EXPECT_THROW(cluster.node_leave(2), wispd::Refused);
    EXPECT_THROW(cluster.adapter_up(6), wispd::Refused);
    EXPECT_THROW(cluster.adapter_down(4), wispd::Refused);
    EXPECT_THROW(cluster.adapter_join(8, address, std::nullopt), wispd::Refused);
    EXPECT_THROW(cluster.adapter_leave(4), wispd::Refused);
    EXPECT_THROW(cluster.set_address(2, address), wispd::Refused);
    EXPECT_THROW(cluster.clear_address(2), wispd::Refused);
    EXPECT_THROW(cluster.swap_addresses(2, 3), wispd::Refused);
    EXPECT_THAT(cluster.nodes_up(), ElementsAre(1, 2));
    EXPECT_TRUE(cluster.adapter_disable(2).any());
}

TEST(WispdLiveness, AConfigurationAndWhoIsAliveInItAreOneChange) {
    Cluster cluster(told_by_engine());
    cluster.set_liveness({{1, 2}, {2, 3, 4, 5}, {}, {}});
    Configuration next = told_by_engine();
    next.nodes.erase(next.nodes.begin() + 1); // node 2 is removed, node 3 joins
    const Changes changes = cluster.follow(next, {{1, 3}, {2, 3, 6, 7}, {}, {}});
    EXPECT_EQ(changes.adapter_deaths, (Members{{4, 1 | 0x08000000}, {5, 1 | 0x08000000}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(2));
    EXPECT_TRUE(changes.configuration_updated);
    EXPECT_EQ(changes.adapter_joins, (Members{{6, 1}, {7, 1}}));
    EXPECT_THAT(changes.node_joins, ElementsAre(3));
    EXPECT_EQ(cluster.configuration_sequence(), 2u);
    EXPECT_FALSE(cluster.follow(std::nullopt, {{1, 3}, {2, 3, 6, 7}, {}, {}}).any());
}

} // namespace
