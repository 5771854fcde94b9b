// SPDX-License-Identifier: Apache-2.0
// Real Serf agents, wispds that follow them, and the events of their clients.
#include <gmock/gmock.h>

#include "tests/cluster/serf_storm.h"
#include "tests/cluster/serf_test.h"

namespace hb_test {
namespace {

using testing::IsEmpty;

class WispdOnSerfTest : public SerfTest {};

unsigned failure_reports(const std::vector<std::string> &lines) {
    return static_cast<unsigned>(std::count_if(lines.begin(), lines.end(), [](const std::string &line) {
        return line.find(" member-failed ") != std::string::npos;
    }));
}

TEST_F(WispdOnSerfTest, ManyDeathsInOneReportOfTheAgentAreOneEvent) {
    Serf_Cluster_Plan plan;
    plan.nodes = 20;
    plan.watched = {1, 10};
    plan.discover = true;
    Serf_Cluster cluster(plan);
    ASSERT_TRUE(cluster.start()) << cluster.account();
    const std::set<int> killed{5, 6, 7, 8};
    std::set<int> left = nodes_up_to(20);
    for (const int node : killed) {
        left.erase(node);
    }
    std::map<int, std::size_t> marks;
    for (const int node : plan.watched) {
        marks[node] = cluster.client(node).mark();
    }
    cluster.agents().kill_all(0, killed);
    ASSERT_TRUE(cluster.wait_nodes(plan.watched, left)) << cluster.account();
    ASSERT_TRUE(cluster.wait_agreement()) << cluster.account();
    for (const int node : plan.watched) {
        const Received received = cluster.received(node, marks[node], Told::Kind::death);
        EXPECT_EQ(received.nodes, unsigned_of(killed));
        EXPECT_LE(received.events, failure_reports(cluster.observed(node, 0)));
        EXPECT_THAT(cluster.client(node).table().objections(), IsEmpty());
    }
}

TEST_F(WispdOnSerfTest, AnAgentsRestartWithinTheGraceIsNoEvent) {
    Serf_Cluster_Plan plan;
    plan.nodes = 4;
    plan.networks = 2;
    plan.grace_seconds = 60;
    Serf_Cluster cluster(plan);
    ASSERT_TRUE(cluster.start()) << cluster.account();
    const std::size_t mark = cluster.client(1).mark();
    cluster.agents().kill(1, 0);
    ASSERT_TRUE(wait_until([&] {
        cluster.collect();
        return !cluster.witness(1).engine_runs();
    }));
    cluster.agents().start(1, 0);
    ASSERT_TRUE(cluster.agents().wait_all_alive()) << cluster.account();
    ASSERT_TRUE(cluster.wait_all_up()) << cluster.account();
    EXPECT_THAT(cluster.client(1).events_since(mark), IsEmpty());
}

TEST_F(WispdOnSerfTest, ANodeThatLeavesDiesWithoutAFailureIdentifier) {
    Serf_Cluster_Plan plan;
    plan.nodes = 3;
    plan.agents.auth_key = "secret";
    Serf_Cluster cluster(plan);
    ASSERT_TRUE(cluster.start()) << cluster.account();
    const std::size_t mark = cluster.client(1).mark();
    cluster.agents().leave(3, 0);
    const std::optional<Told> left =
        cluster.client(1).wait_told(mark, [](const Told &told) { return told.is(Told::Kind::death, true); });
    ASSERT_TRUE(left) << cluster.account();
    EXPECT_TRUE(left->tells_of(3));
    EXPECT_EQ(left->id, "");
    cluster.agents().kill(2, 0);
    const std::optional<Told> failed = cluster.client(1).wait_told(
        mark, [](const Told &told) { return told.is(Told::Kind::death, true) && told.tells_of(2); });
    ASSERT_TRUE(failed) << cluster.account();
    EXPECT_NE(failed->id, "");
}

TEST_F(WispdOnSerfTest, EightRandomFaultsAreReportedAsTheyWere) {
    Serf_Cluster_Plan plan;
    plan.nodes = 5;
    plan.networks = 2;
    plan.watched = {1, 3};
    Serf_Cluster cluster(plan);
    ASSERT_TRUE(cluster.start()) << cluster.account();
    const Storm_Outcome outcome = Serf_Storm(cluster, 20261123).run(8);
    EXPECT_THAT(outcome.complaints, IsEmpty());
    if (!outcome.good()) {
        ADD_FAILURE() << serf_storm_report(outcome, cluster, 20261123);
    }
    EXPECT_EQ(outcome.hasty + outcome.settled, 8U);
    EXPECT_GT(outcome.explained, 0U);
}

} // namespace
} // namespace hb_test
