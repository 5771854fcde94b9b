// SPDX-License-Identifier: Apache-2.0
// `hbctl wait` and `hbctl check` with a real daemon.
#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/system/clusters.h"
#include "tests/system/hbctl.h"

namespace hb_test {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

class HbctlWait : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }
    void TearDown() override {
        if (daemon.running()) {
            EXPECT_TRUE(daemon.stop());
        }
    }

    Hbctl_End hbctl(const Words &words) { return run_hbctl(daemon.programs(), daemon, words); }
    std::unique_ptr<Child_Process> start(const Words &words) {
        Words line{daemon.programs().path("hbctl"), "--socket", daemon.socket()};
        line.insert(line.end(), words.begin(), words.end());
        auto process = std::make_unique<Child_Process>(line);
        process->close_input();
        return process;
    }
    static void expect_success(Child_Process &process, const std::string &output) {
        const std::optional<Child_End> end = process.wait();
        ASSERT_TRUE(end);
        EXPECT_EQ(end->exit_status, 0) << process.error_output();
        EXPECT_EQ(process.output(), output);
    }
    // Waits until wispd has a client with a subscription, so a change is an event for it.
    bool is_subscribed() { return daemon.tell(R"({"do":"state"})").find("hbctl-") != std::string::npos; }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
};

TEST_F(HbctlWait, WhatIsSoAlreadyEndsAtOnce) {
    EXPECT_EQ(hbctl({"wait", "node", "3", "--up"}), said("node 3 is up"));
    EXPECT_EQ(hbctl({"wait", "node", "4", "--down"}), said("node 4 is down"));
    EXPECT_EQ(hbctl({"wait", "adapter", "7", "--up", "--json"}),
              said(R"({"format":1,"adapter":7,"state":"up"})"));
    EXPECT_EQ(hbctl({"wait", "nodes", "3", "--up"}), said("at least 3 nodes are up"));
    EXPECT_EQ(hbctl({"wait", "nodes", "1", "--down"}), said("at least 1 node is down"));
    EXPECT_EQ(hbctl({"wait", "daemon", "--up"}), said("the daemon is up"));
}

TEST_F(HbctlWait, AChangeEndsTheWait) {
    const auto down = start({"wait", "node", "3", "--down", "--timeout", "300"});
    const auto adapter = start({"wait", "adapter", "6", "--down", "--timeout", "300"});
    const auto count = start({"wait", "nodes", "2", "--down", "--timeout", "300"});
    ASSERT_TRUE(wait_until([&] { return is_subscribed(); }));
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    expect_success(*down, "node 3 is down\n");
    expect_success(*adapter, "adapter 6 is down\n");
    expect_success(*count, "at least 2 nodes are down\n");
}

TEST_F(HbctlWait, TheTimeExpiresWithItsOwnStatus) {
    EXPECT_EQ(hbctl({"wait", "node", "4", "--up", "--timeout", "0.3"}),
              (Hbctl_End{3, "", "hbctl: node 4 is not up after 0.3 s: the time expired\n"}));
    EXPECT_EQ(hbctl({"wait", "nodes", "4", "--up", "--timeout", "0.3"}),
              (Hbctl_End{3, "", "hbctl: fewer than 4 nodes are up after 0.3 s: the time expired\n"}));
    EXPECT_EQ(hbctl({"wait", "daemon", "--down", "--timeout", "0.3"}),
              (Hbctl_End{3, "", "hbctl: the daemon is not down after 0.3 s: the time expired\n"}));
}

TEST_F(HbctlWait, ANumberThatIsNotConfiguredIsAMistakeAtOnce) {
    EXPECT_EQ(hbctl({"wait", "node", "7", "--up", "--timeout", "300"}),
              (Hbctl_End{1, "", "hbctl: node 7 is not configured (nodes: 1-4)\n"}));
}

TEST_F(HbctlWait, TheDaemonMayEndAndReturnMeanwhile) {
    const auto down = start({"wait", "daemon", "--down", "--timeout", "300"});
    const auto node = start({"wait", "node", "4", "--up", "--timeout", "300"});
    ASSERT_TRUE(wait_until([&] { return is_subscribed(); }));
    daemon.kill();
    expect_success(*down, "the daemon is down\n");
    EXPECT_EQ(hbctl({"wait", "daemon", "--down"}), said("the daemon is down"));
    const Hbctl_End end = hbctl({"wait", "node", "3", "--up", "--timeout", "0.3"});
    EXPECT_EQ(end.exit_status, 3);
    EXPECT_THAT(end.errors, HasSubstr("node 3 is not up after 0.3 s: no heartbeat daemon listens at"));
    const auto up = start({"wait", "daemon", "--up", "--timeout", "300"});
    ASSERT_TRUE(daemon.start());
    expect_success(*up, "the daemon is up\n");
    EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":4})"));
    expect_success(*node, "node 4 is up\n");
}

// The change happens while hbctl starts, looks and subscribes. Both directions take turns.
TEST_F(HbctlWait, MissesNoChangeBetweenItsFirstLookAndItsSubscription) {
    const char *variable = std::getenv("HB_WAIT_RACES");
    const int races = variable == nullptr ? 40 : std::atoi(variable);
    for (int race = 0; race < races && !HasFailure(); ++race) {
        const bool up = race % 2 != 0;
        const auto waiting = start({"wait", "node", "3", up ? "--up" : "--down", "--timeout", "60"});
        const auto begin = std::chrono::steady_clock::now();
        const auto delay = std::chrono::microseconds(race * 7919 % 12'000);
        while (std::chrono::steady_clock::now() - begin < delay) {
        }
        EXPECT_TRUE(daemon.tells(up ? R"({"do":"node-up","node":3})" : R"({"do":"node-down","node":3})"));
        const std::optional<Child_End> end = waiting->wait(Deadline(std::chrono::seconds(120)));
        ASSERT_TRUE(end);
        EXPECT_EQ(end->exit_status, 0) << "race " << race << ": " << waiting->error_output();
    }
    RecordProperty("races", races);
}

TEST_F(HbctlWait, CheckReportsTheHealthToAMonitoringSystem) {
    const std::string one_down = "CLUSTER WARNING - 3 of 4 nodes up, 6 of 7 adapters up | "
                                 "nodes_down=1;0;1;0;4 adapters_down=1;0;;0;7\n";
    EXPECT_EQ(hbctl({"check"}), (Hbctl_End{1, one_down, ""}));
    EXPECT_EQ(hbctl({"check", "-w", "1", "--adapters-warning", "1"}).exit_status, 0);
    EXPECT_EQ(hbctl({"check", "-c", "0"}).exit_status, 2);
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    const Hbctl_End end = hbctl({"check"});
    EXPECT_EQ(end.exit_status, 2);
    EXPECT_THAT(end.output,
                HasSubstr("CLUSTER CRITICAL - 2 of 4 nodes up, 4 of 7 adapters up | nodes_down=2;0;1;0;4"));
    ASSERT_TRUE(daemon.stop());
    const Hbctl_End absent = hbctl({"check"});
    EXPECT_EQ(absent.exit_status, 2);
    EXPECT_THAT(absent.output,
                HasSubstr("CLUSTER CRITICAL - no heartbeat daemon listens at " + daemon.socket()));
    EXPECT_EQ(absent.errors, "");
}

} // namespace
} // namespace hb_test
