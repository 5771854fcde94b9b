// SPDX-License-Identifier: Apache-2.0
// The example of a leader that gives up when its node is isolated. The wispd is that of node 1.
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/examples/example.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

using testing::ElementsAre;

const std::string HOLD = "300"; // milliseconds

TEST(LeaderLease, TheLowestNodeLeadsUntilItIsIsolated) {
    Daemon daemon(programs_of_this_build(), small_cluster_file());
    ASSERT_TRUE(daemon.start());
    Example example(daemon, "leader_lease", {HOLD});
    EXPECT_EQ(example.line_with("leading"), "leading");

    // Three of four nodes are up: without one of them half are, which could be the half without the leader.
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    EXPECT_THAT(example.lines(1), ElementsAre("the node is isolated"));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    EXPECT_THAT(example.lines(2), ElementsAre("waiting for the last leader", "leading"));
}

TEST(LeaderLease, IsGivenUpWhenTheDaemonIsStoppedOrEnds) {
    Daemon daemon(programs_of_this_build(), small_cluster_file());
    ASSERT_TRUE(daemon.start());
    Example example(daemon, "leader_lease", {HOLD});
    EXPECT_EQ(example.line_with("leading"), "leading");

    daemon.send_signal(SIGSTOP);
    EXPECT_THAT(example.lines(1), ElementsAre("no contact to the daemon"));
    daemon.send_signal(SIGCONT);
    EXPECT_THAT(example.lines(2), ElementsAre("waiting for the last leader", "leading"));

    daemon.kill();
    EXPECT_THAT(example.lines(1), ElementsAre("no contact to the daemon"));
}

TEST(LeaderLease, AHigherNodeLeadsWhenTheLowerOnesHaveDied) {
    Daemon daemon(
        programs_of_this_build(),
        replaced(replaced(small_cluster_file(), "local_node = 1", "local_node = 2"), "state = \"down\"", ""));
    ASSERT_TRUE(daemon.start());
    Example example(daemon, "leader_lease", {HOLD});
    EXPECT_EQ(example.line_with("another"), "another node leads");

    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":1})"));
    EXPECT_THAT(example.lines(2), ElementsAre("waiting for the last leader", "leading"));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-up","node":1})"));
    EXPECT_THAT(example.lines(1), ElementsAre("another node leads"));
}

} // namespace
} // namespace hb_test
