// SPDX-License-Identifier: Apache-2.0
// wispd ends, normally or not, and starts again.
#include <csignal>

#include <gtest/gtest.h>

#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

class Restart : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override {
        ASSERT_TRUE(daemon.start());
        clients = start_clients(GetParam(), daemon, {"open", "subscribe n 7 all-nodes"});
        expect_lines(clients, {"opened", "subscribed n", "event 1 new-group n nodes 1 2 3 status 0"});
    }

    Daemon daemon{GetParam().daemon, small_cluster_file()};
    Clients clients;
};

TEST_P(Restart, ClientsLearnOfAKilledDaemonAndReopenOnTheNextOne) {
    const Ipc_Ids stale = daemon.ipc_ids();
    ASSERT_EQ(existing(stale).size(), 4u);
    daemon.kill();
    expect_lines(clients, {"failed event 16"});
    EXPECT_EQ(existing(stale).size(), 4u); // a killed wispd cannot clean up
    for (const auto &client : clients) {
        EXPECT_EQ(client->ask("close"), "closed");
        EXPECT_EQ(client->ask("open"), "failed open 15");
    }

    daemon.write_configuration(
        replaced(small_cluster_file(), "name = \"gamma\"", "name = \"gamma\"\nstate = \"down\""));
    ASSERT_TRUE(daemon.start());
    EXPECT_EQ(existing(stale), std::vector<std::string>());
    order_all(clients, "open");
    expect_lines(clients, {"opened"});
    order_all(clients, "subscribe again 7 all-nodes");
    expect_lines(clients, {"subscribed again", "event 1 new-group again nodes 1 2 status 0"});
    EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    expect_lines(clients, {"event 2 join again nodes 3"});
    expect_good_ends(clients);
    EXPECT_TRUE(daemon.stop());
}

TEST_P(Restart, AnEndedDaemonLeavesNothingAndItsClientsLearnOfIt) {
    EXPECT_TRUE(daemon.stop());
    expect_lines(clients, {"failed event 16"});
    expect_good_ends(clients);
}

TEST_P(Restart, TheStopCommandEndsIt) {
    EXPECT_TRUE(daemon.tells(R"({"do":"stop"})"));
    expect_lines(clients, {"failed event 16"});
    EXPECT_TRUE(daemon.wait_stopped());
}

TEST_P(Restart, ASecondDaemonOnTheSameSocketRefusesAndDisturbsNothing) {
    const Ipc_Ids before = daemon.ipc_ids();
    for (const Programs &programs : GetParam().clients) {
        Child_Process second({programs.path("wispd"), "--config", daemon.configuration_file(), "--socket",
                              daemon.socket(), "--foreground"});
        const std::optional<Child_End> end = second.wait();
        ASSERT_TRUE(end);
        EXPECT_EQ(end->signal, 0);
        EXPECT_EQ(end->exit_status, 1);
        EXPECT_NE(second.error_output().find(std::to_string(daemon.pid())), std::string::npos)
            << second.error_output();
        EXPECT_NE(second.error_output().find(daemon.socket()), std::string::npos) << second.error_output();
    }
    EXPECT_EQ(daemon.ipc_ids(), before);
    EXPECT_EQ(existing(before).size(), 4u);
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    expect_lines(clients, {"event 2 death n nodes 3 id #1"});
    Clients later = start_clients(GetParam(), daemon, {"open"});
    expect_lines(later, {"opened"});
    EXPECT_TRUE(daemon.stop());
}

TEST_P(Restart, DaemonsOnDifferentSocketsKeepApart) {
    Daemon other(GetParam().daemon, small_cluster_file());
    ASSERT_TRUE(other.start());
    Clients others = start_clients(GetParam(), other, {"open", "subscribe o 7 all-nodes"});
    expect_lines(others, {"opened", "subscribed o", "event 1 new-group o nodes 1 2 3 status 0"});
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    expect_lines(clients, {"event 2 death n nodes 3 id #1"});
    EXPECT_TRUE(daemon.stop());
    EXPECT_TRUE(other.tells(R"({"do":"node-down","node":2})"));
    expect_lines(others, {"event 2 death o nodes 2 id #1"});
    EXPECT_TRUE(other.stop());
}

SYSTEM_TESTS(Restart);

} // namespace
} // namespace hb_test
