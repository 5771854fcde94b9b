// SPDX-License-Identifier: Apache-2.0
// The examples that print what a watch reports.
#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/examples/example.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class WatchExamples : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
};

TEST_F(WatchExamples, DeadNodesPrintsTheNodesThatAreDown) {
    Example first(daemon, "dead_nodes");
    EXPECT_TRUE(first.ends_with(0)) << first.process().error_output();
    EXPECT_EQ(first.process().output(), "4\n");

    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    Example second(daemon, "dead_nodes");
    EXPECT_TRUE(second.ends_with(0)) << second.process().error_output();
    EXPECT_EQ(second.process().output(), "3\n4\n");
}

TEST_F(WatchExamples, DeadNodesPrintsNothingWithoutADaemon) {
    ASSERT_TRUE(daemon.stop());
    Example example(daemon, "dead_nodes");
    EXPECT_TRUE(example.ends_with(1));
    EXPECT_EQ(example.process().output(), "");
    EXPECT_THAT(example.process().error_output(),
                StartsWith("dead_nodes: " + daemon.socket() + ": no daemon listens"));
}

TEST_F(WatchExamples, EpollFollowsNodesAndAdaptersAndTheInput) {
    Example example(daemon, "epoll_two_subscriptions");
    // Three nodes, six adapters, and a last line for each of the watches.
    std::vector<std::string> start = example.lines(11);
    std::sort(start.begin(), start.end());
    EXPECT_THAT(start,
                ElementsAre("adapters: adapter 2 of node 1 joined", "adapters: adapter 3 of node 1 joined",
                            "adapters: adapter 4 of node 2 joined", "adapters: adapter 5 of node 2 joined",
                            "adapters: adapter 6 of node 3 joined", "adapters: adapter 7 of node 3 joined",
                            "adapters: current", "nodes: current", "nodes: node 1 joined",
                            "nodes: node 2 joined", "nodes: node 3 joined"));

    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    std::vector<std::string> death = example.lines(3);
    std::sort(death.begin(), death.end());
    EXPECT_THAT(death, ElementsAre("adapters: adapter 6 of node 3 died", "adapters: adapter 7 of node 3 died",
                                   "nodes: node 3 died"));

    example.process().write_input("\n");
    EXPECT_THAT(example.lines(4),
                ElementsAre("node 1: state 1", "node 2: state 1", "node 3: state 2", "node 4: state 2"));
    example.process().close_input();
    EXPECT_TRUE(example.ends_with(0));
}

TEST_F(WatchExamples, ReconnectReportsWhatChangedWhileTheDaemonWasAway) {
    Example example(daemon, "reconnect");
    EXPECT_THAT(example.lines(4),
                ElementsAre("node 1 joined (up at the start)", "node 2 joined (up at the start)",
                            "node 3 joined (up at the start)", "in contact: all nodes are known"));
    daemon.kill();
    EXPECT_THAT(example.lines(1).front(), StartsWith("no contact: "));

    daemon.write_configuration(
        replaced(small_cluster_file(), "name = \"gamma\"", "name = \"gamma\"\nstate = \"down\""));
    ASSERT_TRUE(daemon.start());
    EXPECT_THAT(example.lines(2),
                ElementsAre(StartsWith("node 3 died (within the last "), "in contact: all nodes are known"));

    ASSERT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    EXPECT_THAT(example.lines(1), ElementsAre("node 3 joined"));
}

TEST_F(WatchExamples, AsioPrintsDeathsBesideItsTimer) {
    Example example(daemon, "asio_watch", {"50"});
    EXPECT_EQ(example.line_with("node 3 joined"), "node 3 joined");
    EXPECT_EQ(example.line_with("3 nodes are up"), "3 nodes are up");
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    EXPECT_EQ(example.line_with("node 3 died"), "node 3 died");
    EXPECT_EQ(example.line_with("2 nodes are up"), "2 nodes are up");
    daemon.kill();
    EXPECT_EQ(example.line_with("as far as known"), "2 nodes are up, as far as known");
}

} // namespace
} // namespace hb_test
