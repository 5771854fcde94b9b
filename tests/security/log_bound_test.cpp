// SPDX-License-Identifier: Apache-2.0
// One user causes at most 200 log lines of each level a minute, including results. Omitted lines are counted.
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/security/guarded_daemon.h"

namespace hb_test {
namespace {

using testing::HasSubstr;

class Log_Bound : public testing::Test {
  protected:
    void SetUp() override { HB_NEEDS_ROLES(); }

    void start(const std::string &settings = "") {
        guarded_ = std::make_unique<Guarded_Daemon>(groups_of_roles() + settings);
        ASSERT_TRUE(guarded_->start());
    }
    Ended attack(Role role, std::vector<std::string> words) {
        words.insert(words.begin(), "hb_attack");
        return guarded_->programs().run(role, words);
    }
    Daemon &daemon() { return guarded_->daemon(); }
    std::size_t lines_of(const std::string &level) {
        std::istringstream log(daemon().log());
        std::size_t count = 0;
        for (std::string line; std::getline(log, line);) {
            count += line.find(" " + level + " ") != std::string::npos ? 1 : 0;
        }
        return count;
    }

    // The user's own lines, the two about omitted lines, and those about wispd's start and end.
    static constexpr std::size_t MOST = 200 + 2 + 4;

    std::unique_ptr<Guarded_Daemon> guarded_;
};

TEST_F(Log_Bound, HoldsForAThousandRequestsAndTheirResults) {
    start();
    EXPECT_EQ(attack(Role::actor, {"act-repeatedly", daemon().socket(), "1000"}).output,
              "sent 1000 requests\n");
    EXPECT_GE(lines_of("info"), 200u);
    // All lines about another user are logged.
    EXPECT_EQ(guarded_->wispctl(Role::administrator, {"node-down", "3"}).exit_status, 0);
    EXPECT_TRUE(daemon().wait_logged("nodes died: 3"));
    EXPECT_TRUE(daemon().stop());
    EXPECT_LE(lines_of("info"), MOST + 2);
    EXPECT_THAT(daemon().log(), HasSubstr("uid 64003 caused 200 log lines within a minute"));
    EXPECT_THAT(daemon().log(), testing::ContainsRegex("uid 64003: suppressed [0-9]+ more lines"));
}

TEST_F(Log_Bound, HoldsForTheDeathsThatSuspicionsBecome) {
    start("[suspicion]\nconfirm_seconds = 0\n");
    EXPECT_EQ(attack(Role::actor, {"suspect-repeatedly", daemon().socket(), "500"}).output,
              "sent 500 suspicions\n");
    EXPECT_TRUE(daemon().wait_logged("1 suspicion confirmed"));
    EXPECT_TRUE(daemon().stop());
    EXPECT_LE(lines_of("info"), MOST);
}

TEST_F(Log_Bound, HoldsForATimelineThatAnAdministratorPlays) {
    start();
    std::string timeline;
    for (int i = 0; i < 300; ++i) {
        for (const char *verb : {"adapter-down", "adapter-up"}) {
            timeline += std::string("[[event]]\nafter = 0\ndo = \"") + verb + "\"\nadapter = 5\n";
        }
    }
    daemon().write_file("timeline.toml", timeline);
    EXPECT_EQ(guarded_->wispctl(Role::administrator, {"play", daemon().file("timeline.toml")}).exit_status, 0);
    EXPECT_TRUE(daemon().wait_logged("the timeline has ended"));
    EXPECT_TRUE(daemon().stop());
    EXPECT_LE(lines_of("info"), MOST);
    EXPECT_THAT(daemon().log(), HasSubstr("uid 64004 caused 200 log lines within a minute"));
}

// Each verb leaves two lines: what happened, and which process requested it.
TEST_F(Log_Bound, HoldsForTheControlVerbsOfRoot) {
    start();
    EXPECT_EQ(attack(Role::root, {"control-repeatedly", daemon().control(), "1000"}).output,
              "sent 1000 verbs\n");
    EXPECT_TRUE(daemon().stop());
    EXPECT_LE(lines_of("info"), MOST);
    EXPECT_THAT(daemon().log(), HasSubstr("uid 0: suppressed 1800 more lines"));
}

TEST_F(Log_Bound, HoldsForRejectedRequests) {
    start();
    EXPECT_EQ(attack(Role::client, {"act-repeatedly", daemon().socket(), "1000"}).output,
              "sent 1000 requests\n");
    EXPECT_TRUE(daemon().stop());
    EXPECT_LE(lines_of("warning"), MOST);
    EXPECT_THAT(daemon().log(), HasSubstr("uid 64001: suppressed 800 more lines"));
}

TEST_F(Log_Bound, HoldsForRejectedConnections) {
    start("user_connections = 1\n");
    EXPECT_EQ(attack(Role::client, {"hold-connections", daemon().socket(), "500"}).output,
              "holds 1 of 500 connections\n");
    EXPECT_TRUE(daemon().stop());
    EXPECT_LE(lines_of("warning"), MOST);
    EXPECT_THAT(daemon().log(), HasSubstr("uid 64001: suppressed 299 more lines"));
}

TEST_F(Log_Bound, HoldsForLinesOfLevelDebug) {
    start("log_level = \"debug\"\n");
    EXPECT_EQ(attack(Role::actor, {"act-repeatedly", daemon().socket(), "1000"}).output,
              "sent 1000 requests\n");
    EXPECT_EQ(attack(Role::client, {"hold-subscriptions", daemon().socket(), "2", "400"}).exit_status, 0);
    EXPECT_TRUE(daemon().stop());
    EXPECT_LE(lines_of("debug"), 2 * MOST);
}

} // namespace
} // namespace hb_test
