// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/hbctl/sample_picture.h"
#include "tools/hbctl/configured.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/request.h"
#include "tools/hbctl/wait_condition.h"

using namespace hbctl;
using hbctl_test::sample_picture;

namespace {

const Wait_Condition NODE_2_UP{Wait_Subject::node, 2, true};
const Wait_Condition NODE_2_DOWN{Wait_Subject::node, 2, false};
const Wait_Condition ADAPTER_5_UP{Wait_Subject::adapter, 5, true};
const Wait_Condition TWO_NODES_UP{Wait_Subject::nodes, 2, true};
const Wait_Condition ONE_NODE_DOWN{Wait_Subject::nodes, 1, false};

template <typename Check> std::string complaint_of(Check check) {
    try {
        check();
    } catch (const Request_Failed &failure) {
        return failure.what();
    }
    return "";
}

} // namespace

TEST(HbctlWaitCondition, AnUnknownStateIsNeitherUpNorDown) {
    const Picture picture = sample_picture();
    for (const Wait_Condition &condition :
         {NODE_2_UP, NODE_2_DOWN, ADAPTER_5_UP, TWO_NODES_UP, ONE_NODE_DOWN}) {
        EXPECT_FALSE(is_met(condition, picture)) << condition_text(condition);
    }
}

TEST(HbctlWaitCondition, IsMetByTheStateOfItsMember) {
    Picture picture = sample_picture();
    picture.nodes[0].state = Liveness::down;
    picture.nodes[1].state = Liveness::up;
    picture.adapters[3].state = Liveness::up;
    EXPECT_TRUE(is_met(NODE_2_UP, picture));
    EXPECT_FALSE(is_met(NODE_2_DOWN, picture));
    EXPECT_TRUE(is_met(ADAPTER_5_UP, picture));
}

TEST(HbctlWaitCondition, ACountIsALeastNumber) {
    Picture picture = sample_picture();
    picture.nodes[0].state = Liveness::up;
    picture.nodes[1].state = Liveness::down;
    EXPECT_FALSE(is_met(TWO_NODES_UP, picture));
    EXPECT_TRUE(is_met(ONE_NODE_DOWN, picture));
    picture.nodes[1].state = Liveness::up;
    EXPECT_TRUE(is_met(TWO_NODES_UP, picture));
    EXPECT_TRUE(is_met({Wait_Subject::nodes, 1, true}, picture));
    EXPECT_FALSE(is_met({Wait_Subject::nodes, 3, true}, picture));
}

TEST(HbctlWaitCondition, InWordsAndInJson) {
    EXPECT_EQ(condition_text(NODE_2_UP), "node 2 is up");
    EXPECT_EQ(condition_text(TWO_NODES_UP), "at least 2 nodes are up");
    EXPECT_EQ(condition_text(ONE_NODE_DOWN), "at least 1 node is down");
    EXPECT_EQ(condition_text({Wait_Subject::daemon, 0, false}), "the daemon is down");
    EXPECT_EQ(unmet_text(ADAPTER_5_UP), "adapter 5 is not up");
    EXPECT_EQ(unmet_text(TWO_NODES_UP), "fewer than 2 nodes are up");
    EXPECT_EQ(wait_json(NODE_2_DOWN), R"({"format":1,"node":2,"state":"down"})");
    EXPECT_EQ(wait_json(TWO_NODES_UP), R"({"format":1,"nodes_at_least":2,"state":"up"})");
    EXPECT_EQ(wait_json({Wait_Subject::daemon, 0, true}), R"({"format":1,"daemon":true,"state":"up"})");
}

TEST(HbctlConfigured, ANumberThatIsNotConfiguredIsRejectedWithTheRightOnes) {
    const Picture picture = sample_picture();
    EXPECT_EQ(complaint_of([&] { require_node(2, picture); }), "");
    EXPECT_EQ(complaint_of([&] { require_node(77, picture); }), "node 77 is not configured (nodes: 1, 2)");
    EXPECT_EQ(complaint_of([&] { require_adapter(9, picture); }),
              "adapter 9 is not configured (adapters: 2-5)");
    EXPECT_EQ(complaint_of([&] { require_local_adapter(3, picture); }), "");
    EXPECT_EQ(complaint_of([&] { require_local_adapter(4, picture); }),
              "adapter 4 is not an adapter of this node (adapters of node 1: 2, 3)");
    EXPECT_EQ(complaint_of([&] { require_network("1", picture); }), "");
    EXPECT_EQ(complaint_of([&] { require_network("x", picture); }),
              "network x is not configured (networks: net_a, net_b)");
    EXPECT_EQ(complaint_of([] { require_node(1, Picture{}); }), "node 1 is not configured (nodes: none)");
}

TEST(HbctlWaitCondition, NamesTheMemberAsTheUserDid) {
    const Wait_Condition gamma{Wait_Subject::node, 3, true, "gamma"};
    EXPECT_EQ(condition_text(gamma), "node gamma is up");
    EXPECT_EQ(unmet_text(gamma), "node gamma is not up");
    EXPECT_EQ(wait_json(gamma), R"({"format":1,"node":3,"state":"up"})");
    EXPECT_EQ(condition_text({Wait_Subject::node, 3, true, "nodes"}), "node nodes is up");
}

TEST(HbctlConfigured, MembersAreFoundByNumberAndByName) {
    Picture picture = sample_picture();
    common::Cluster_File file;
    file.nodes = {{1, "alpha"}, {2, "beta"}};
    set_names(picture, file, "");
    EXPECT_EQ(find_node({2, ""}, picture), 2);
    EXPECT_EQ(find_node({0, "alpha"}, picture), 1);
    EXPECT_EQ(find_adapter({0, "beta/net_b"}, picture), 5U);
    EXPECT_EQ(complaint_of([&] { find_node({77, ""}, picture); }), "node 77 is not configured (nodes: 1, 2)");
    EXPECT_EQ(complaint_of([&] {
                  find_node({0, "omega"}, picture);
              }),
              "node omega is not configured (nodes: alpha, beta)");
    EXPECT_EQ(complaint_of([&] {
                  find_adapter({0, "alpha"}, picture);
              }),
              "adapter alpha is not configured (adapters: alpha/net_a, alpha/net_b, beta/net_a, beta/net_b)");
}

TEST(HbctlConfigured, ANameOfTwoNodesIsRejectedWithTheirNumbers) {
    Picture picture = sample_picture();
    common::Cluster_File file;
    file.nodes = {{1, "twin"}, {2, "twin"}};
    set_names(picture, file, "");
    EXPECT_EQ(complaint_of([&] {
                  find_node({0, "twin"}, picture);
              }),
              "several nodes have the name twin: use the number (nodes: 1, 2)");
}

TEST(HbctlConfigured, WithoutAFileNoNameIsKnown) {
    Picture picture = sample_picture();
    set_names(picture, std::nullopt, "no names are known: cannot read F");
    EXPECT_EQ(complaint_of([&] {
                  find_node({0, "alpha"}, picture);
              }),
              "no names are known: cannot read F; use the number of the node instead of alpha");
    EXPECT_EQ(find_node({1, ""}, picture), 1);
}

TEST(HbctlConfigured, ALongListIsCut) {
    Picture picture;
    for (int number = 0; number < 2000; number += 2) {
        picture.nodes.push_back({number, false, Liveness::up, {}});
    }
    picture.index();
    const std::string complaint = complaint_of([&] { require_node(1, picture); });
    EXPECT_THAT(complaint, testing::StartsWith("node 1 is not configured (nodes: 0, 2, 4, "));
    EXPECT_THAT(complaint, testing::EndsWith(", ...)"));
    EXPECT_LT(complaint.size(), 200U);
}
