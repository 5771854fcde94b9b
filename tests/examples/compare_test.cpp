// SPDX-License-Identifier: Apache-2.0
// The two programs of examples/compare print the same: one has only hb_client.h, the other has a watch.
#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/examples/example.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

using Lines = std::vector<std::string>;

class Compare : public testing::TestWithParam<const char *> {
  protected:
    // The next lines in alphabetical order: nodes and adapters have events of their own.
    static Lines next(Example &example, std::size_t count) {
        Lines lines = example.lines(count);
        std::sort(lines.begin(), lines.end());
        return lines;
    }
};

TEST_P(Compare, ReportsEachDeathOnceThroughARestartOfTheDaemon) {
    Daemon daemon(programs_of_this_build(), small_cluster_file());
    ASSERT_TRUE(daemon.start());
    Example example(daemon, GetParam());
    EXPECT_EQ(next(example, 9), (Lines{"adapter 2 joined", "adapter 3 joined", "adapter 4 joined",
                                       "adapter 5 joined", "adapter 6 joined", "adapter 7 joined",
                                       "node 1 joined", "node 2 joined", "node 3 joined"}));

    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":2})"));
    EXPECT_EQ(next(example, 3), (Lines{"adapter 4 died", "adapter 5 died", "node 2 died"}));

    // Node 2 returns and node 3 dies while no daemon runs.
    daemon.kill();
    daemon.write_configuration(
        replaced(small_cluster_file(), "name = \"gamma\"", "name = \"gamma\"\nstate = \"down\""));
    ASSERT_TRUE(daemon.start());
    EXPECT_EQ(next(example, 6), (Lines{"adapter 4 joined", "adapter 5 joined", "adapter 6 died",
                                       "adapter 7 died", "node 2 joined", "node 3 died"}));

    ASSERT_TRUE(daemon.tells(R"({"do":"adapter-down","adapter":2})"));
    EXPECT_EQ(next(example, 1), Lines{"adapter 2 died"});
}

TEST_P(Compare, ReportsAMemberThatIsAddedToTheConfiguration) {
    Daemon daemon(programs_of_this_build(), small_cluster_file());
    ASSERT_TRUE(daemon.start());
    Example example(daemon, GetParam());
    next(example, 9);
    ASSERT_TRUE(daemon.tells(R"({"do":"node-up","node":4})"));
    EXPECT_EQ(next(example, 2), (Lines{"adapter 8 joined", "node 4 joined"}));
    ASSERT_TRUE(daemon.tells(R"({"do":"adapter-join","adapter":9,"address":"10.2.0.4","type":"eth1"})"));
    EXPECT_EQ(next(example, 1), Lines{"adapter 9 joined"});
}

INSTANTIATE_TEST_SUITE_P(Examples, Compare, testing::Values("epoll_by_hand", "epoll_with_watch"),
                         [](const auto &info) { return std::string(info.param); });

} // namespace
} // namespace hb_test
