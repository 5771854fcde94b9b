// SPDX-License-Identifier: Apache-2.0
// The example that runs a command when a node dies, with a limit.
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/examples/example.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class React : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }

    void let_die(int node) {
        ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":)" + std::to_string(node) + "}"));
    }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
};

TEST_F(React, RunsTheCommandWithTheNumberOfTheDeadNode) {
    Example example(daemon, "react", {"60", "sh", "-c", "echo \"moved the work of node $DEAD_NODE\""});
    ASSERT_EQ(example.line_with("watching"), "watching");
    let_die(3);
    // The program and the command print at once, so their lines can come in any order.
    EXPECT_THAT(example.lines(3), UnorderedElementsAre(MatchesRegex("node 3 died: started process [0-9]+"),
                                                       "moved the work of node 3",
                                                       MatchesRegex("process [0-9]+ ended with status 0")));
}

TEST_F(React, EndsACommandThatExceedsTheLimit) {
    Example example(daemon, "react", {"1", "sleep", "600"});
    ASSERT_EQ(example.line_with("watching"), "watching");
    let_die(3);
    EXPECT_THAT(example.line_with("exceeded"), MatchesRegex("process [0-9]+ exceeded 1 s and was ended"));
}

TEST_F(React, ASlowCommandDelaysNoOther) {
    Example example(daemon, "react",
                    {"60", "sh", "-c", "[ $DEAD_NODE = 3 ] && exec sleep 600; echo done $DEAD_NODE"});
    ASSERT_EQ(example.line_with("watching"), "watching");
    let_die(3);
    const std::string started = "node 3 died: started process ";
    const std::string line = example.line_with("node 3 died");
    ASSERT_THAT(line, StartsWith(started));
    let_die(2);
    EXPECT_EQ(example.line_with("done"), "done 2");
    // The program does not end its commands with itself.
    kill(std::stoi(line.substr(started.size())), SIGKILL);
}

TEST_F(React, RejectsALimitThatIsNone) {
    Example example(daemon, "react", {"soon", "true"});
    EXPECT_TRUE(example.ends_with(2));
    EXPECT_THAT(example.process().error_output(), HasSubstr("usage: react SECONDS COMMAND"));
}

} // namespace
} // namespace hb_test
