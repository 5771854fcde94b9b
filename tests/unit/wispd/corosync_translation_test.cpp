// SPDX-License-Identifier: Apache-2.0
// Translates an engine's cluster into the daemon's terms.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/address.h"
#include "engine/corosync/corosync_translation.h"

namespace {

using testing::ElementsAre;
using wispd::Configuration;
using wispd::Corosync_Configuration;
using wispd::Corosync_Names;
using wispd::Corosync_Refused;

const Corosync_Configuration TWO{
    "alpha", 2, {{1, "one", {{0, "10.1.0.1"}, {2, "fd00::1"}}}, {2, "", {{0, "10.1.0.2"}, {2, "fd00::2"}}}}};

std::string refusal_of(const Corosync_Configuration &engine, const Corosync_Names &names = {}) {
    try {
        translate(engine, names);
    } catch (const Corosync_Refused &error) {
        return error.what();
    }
    return "taken";
}

TEST(WispdEngineTranslation, NodesNetworksAndAdaptersAreNumberedByIdsAndLinks) {
    const Configuration is = translate(TWO, {});
    EXPECT_EQ(is.name, "alpha");
    EXPECT_EQ(is.local_node, 2);
    EXPECT_EQ(is.max_nodes, 2049);
    EXPECT_EQ(is.adapters_per_node, 48);
    EXPECT_EQ(is.instance, 1u);
    EXPECT_TRUE(is.is_from_engine);
    ASSERT_EQ(is.networks.size(), 2u);
    EXPECT_EQ(is.networks[0].number, 0);
    EXPECT_EQ(is.networks[0].name, "link0");
    EXPECT_EQ(is.networks[1].number, 2);
    EXPECT_EQ(is.networks[1].name, "link2");
    EXPECT_EQ(is.networks[1].type, "knet");
    ASSERT_EQ(is.nodes.size(), 2u);
    EXPECT_EQ(is.nodes[0].name, "one");
    EXPECT_EQ(is.nodes[1].name, "node2");
    ASSERT_EQ(is.nodes[0].adapters.size(), 2u);
    EXPECT_EQ(is.nodes[0].adapters[1].network, 2);
    EXPECT_EQ(wispd::address_text(is.nodes[0].adapters[1].address), "fd00::1");
    EXPECT_EQ(is.nodes[0].adapters[1].type, "knet2");
    EXPECT_FALSE(is.nodes[0].adapters[1].up);
}

TEST(WispdEngineTranslation, TheFilesNamesAndSettingsAreUsed) {
    Corosync_Names names;
    names.nodes = {{1, 2048}};
    names.networks = {{2, "backup"}};
    names.instance = 7;
    names.heartbeat = wispd::Heartbeat{1, 500000, true};
    const Configuration is = translate(TWO, names);
    EXPECT_EQ(is.nodes[0].number, 2048);
    EXPECT_EQ(is.networks[1].name, "backup");
    EXPECT_EQ(is.instance, 7u);
    EXPECT_EQ(is.heartbeat, (wispd::Heartbeat{1, 500000, true}));
}

TEST(WispdEngineTranslation, IdsWithoutANumberAreRefusedByName) {
    Corosync_Configuration engine = TWO;
    engine.nodes[0].id = 2048;
    EXPECT_EQ(refusal_of(engine), "taken");
    engine.nodes[0].id = 2049;
    EXPECT_EQ(refusal_of(engine), "Corosync node 2049 has no number: IDs above 2048 need one in a "
                                  "[[source.node]] of wispd's configuration file");
    Corosync_Names names;
    names.nodes = {{2049, 3}};
    EXPECT_EQ(refusal_of(engine, names), "taken");
}

TEST(WispdEngineTranslation, TwoNodesOfOneNumberAreRefused) {
    Corosync_Names names;
    names.nodes = {{1, 2}};
    EXPECT_EQ(refusal_of(TWO, names), "Corosync nodes 1 and 2 both map to number 2: give one of them "
                                      "another number in [[source.node]]");
}

TEST(WispdEngineTranslation, AListWithoutTheLocalNodeIsRefused) {
    Corosync_Configuration engine = TWO;
    engine.local_id = 9;
    EXPECT_EQ(refusal_of(engine), "Corosync's node list does not contain the local node, 9");
}

TEST(WispdEngineTranslation, TwoNetworksOfOneNameAreRefused) {
    Corosync_Names names;
    names.networks = {{0, "link2"}};
    EXPECT_EQ(refusal_of(TWO, names), "Corosync links 0 and 2 are both named \"link2\": give one of "
                                      "them another name in [[source.network]]");
}

TEST(WispdEngineTranslation, LinksOfOthersAndOwnInterfacesAreAdapters) {
    const wispd::Liveness is =
        translate(TWO, {}, {{{1, 3}, {2, 1}}, {{{1, 0}, {true, 0}}, {{1, 2}, {false, 1}}}}, {{}, {}}, {2});
    EXPECT_THAT(is.nodes, ElementsAre(1, 2));
    EXPECT_THAT(is.adapters, ElementsAre(48, 98));
    EXPECT_EQ(is.incarnations.at(1), 3u);
}

} // namespace
