// SPDX-License-Identifier: Apache-2.0
// Every client receives every change of the cluster: each event once, in order, numbered without gaps.
#include <gtest/gtest.h>

#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

class Events : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override {
        ASSERT_TRUE(daemon.start());
        clients = start_clients(
            GetParam(), daemon,
            {"open", "subscribe n 519 all-nodes", "subscribe a 7 all-adapters", "subscribe i 256 instances"});
        expect_lines(clients,
                     {"opened", "subscribed n", "subscribed a", "subscribed i",
                      "event 1 new-group n nodes 1 2 3 status 0",
                      "event 2 new-group a adapters 2@1 3@1 4@1 5@1 6@1 7@1 leader 2@1 group 1 status 0"});
    }
    void TearDown() override {
        expect_good_ends(clients);
        EXPECT_TRUE(daemon.stop());
    }

    Daemon daemon{GetParam().daemon, small_cluster_file()};
    Clients clients;
};

TEST_P(Events, NodesDieAndJoinWithTheirAdapters) {
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    expect_lines(clients, {"event 3 death a adapters 6@1 7@1", "event 4 death n nodes 3 id #1"});
    EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    expect_lines(clients, {"event 5 join a adapters 6@2 7@2", "event 6 join n nodes 3"});
    EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":4})"));
    expect_lines(clients, {"event 7 join a adapters 8@1", "event 8 join n nodes 4"});
}

TEST_P(Events, AdaptersDieAndJoinAndTheNodeGoesWithTheLastOne) {
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-down","adapter":5})"));
    expect_lines(clients, {"event 3 death a adapters 5@1"});
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-down","adapter":4})"));
    expect_lines(clients, {"event 4 death a adapters 4@1", "event 5 death n nodes 2 id #1"});
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-up","adapter":5})"));
    expect_lines(clients, {"event 6 join a adapters 5@2", "event 7 join n nodes 2"});
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-up","adapter":4})"));
    expect_lines(clients, {"event 8 join a adapters 4@2"});
}

TEST_P(Events, NodesLeaveAndJoinTheConfiguration) {
    EXPECT_TRUE(daemon.tells(R"({"do":"node-leave","node":3})"));
    expect_lines(clients, {"event 3 death a adapters 6@1-removed 7@1-removed", "event 4 death n nodes 3 id #1",
                           "event 5 configuration Hb_Config_Group"});
    order_all(clients, "configuration");
    expect_lines(clients, {"local 1 nodes 3 networks 2 adapters 5", "nodes 1 2 4",
                           "network 0 net_a ether adapters 2 4 8", "network 1 net_b token adapters 3 5",
                           "adapter 2 node 1 10.1.0.1 eth0", "adapter 3 node 1 10.2.0.1 eth1",
                           "adapter 4 node 2 10.1.0.2 eth0", "adapter 5 node 2 10.2.0.2 eth1",
                           "adapter 8 node 4 10.1.0.4 eth0", "end of configuration"});
    EXPECT_TRUE(daemon.tells(R"({"do":"node-join","node":3})"));
    expect_lines(clients, {"event 6 configuration Hb_Config_Group", "event 7 join a adapters 6@2 7@2",
                           "event 8 join n nodes 3"});
    order_all(clients, "totals");
    expect_lines(clients, {"local 1 nodes 4 networks 2 adapters 7",
                           "iterated 4 nodes, 2 networks, 7 adapters, numbers sum 35"});
}

TEST_P(Events, AdaptersLeaveAndJoinTheConfiguration) {
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-leave","adapter":5})"));
    expect_lines(clients, {"event 3 death a adapters 5@1-removed", "event 4 configuration Hb_Config_Group"});
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-join","adapter":5})"));
    expect_lines(clients, {"event 5 configuration Hb_Config_Group", "event 6 join a adapters 5@2"});
    // An adapter that is in no file, on a node that had none so far.
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-join","adapter":13,"address":"10.2.0.6","type":"eth1"})"));
    expect_lines(clients, {"event 7 configuration Hb_Config_Group", "event 8 join a adapters 13@1",
                           "event 9 join n nodes 6"});
    order_all(clients, "configuration");
    expect_lines(clients,
                 {"local 1 nodes 5 networks 2 adapters 8", "nodes 1 2 3 4 6",
                  "network 0 net_a ether adapters 2 4 6 8", "network 1 net_b token adapters 3 5 7 13",
                  "adapter 2 node 1 10.1.0.1 eth0", "adapter 3 node 1 10.2.0.1 eth1",
                  "adapter 4 node 2 10.1.0.2 eth0", "adapter 5 node 2 10.2.0.2 eth1",
                  "adapter 6 node 3 10.1.0.3 eth0", "adapter 7 node 3 2001:db8::3 eth1",
                  "adapter 8 node 4 10.1.0.4 eth0", "adapter 13 node 6 10.2.0.6 eth1", "end of configuration"});
}

TEST_P(Events, NoticesReachWhoAskedForThem) {
    EXPECT_TRUE(daemon.tells(R"({"do":"ffdc","id":"the disk of node 3 is full"})"));
    expect_lines(clients, {"event 3 ffdc Hb_FFDC_Group id the disk of node 3 is full"});
    EXPECT_TRUE(daemon.tells(R"({"do":"foreign-instance","address":"10.9.0.1","instance":4294967295})"));
    expect_lines(clients, {"event 4 different-instance i from 10.9.0.1 instance 4294967295"});
    EXPECT_TRUE(daemon.tells(R"({"do":"heartbeat","threshold_seconds":2,"threshold_microseconds":500000})"));
    const std::string pid = std::to_string(daemon.pid());
    expect_lines(clients, {"event 5 heartbeat n threshold 2s 500000us enabled 1 pid " + pid});
    EXPECT_TRUE(daemon.tells(R"({"do":"heartbeat","enabled":false})"));
    expect_lines(clients, {"event 6 heartbeat n threshold 2s 500000us enabled 0 pid " + pid});
    order_all(clients, "heartbeat");
    expect_lines(clients, {"heartbeat threshold 2s 500000us enabled 0 pid " + pid});
}

SYSTEM_TESTS(Events);

class Configuration : public testing::TestWithParam<Setup> {};

TEST_P(Configuration, EveryClientReadsWhatTheFileSays) {
    Daemon daemon(GetParam().daemon, small_cluster_file());
    ASSERT_TRUE(daemon.start());
    Clients clients = start_clients(GetParam(), daemon, {"open", "configuration"});
    expect_lines(clients, {"opened", "local 1 nodes 4 networks 2 adapters 7", "nodes 1 2 3 4",
                           "network 0 net_a ether adapters 2 4 6 8", "network 1 net_b token adapters 3 5 7",
                           "adapter 2 node 1 10.1.0.1 eth0", "adapter 3 node 1 10.2.0.1 eth1",
                           "adapter 4 node 2 10.1.0.2 eth0", "adapter 5 node 2 10.2.0.2 eth1",
                           "adapter 6 node 3 10.1.0.3 eth0", "adapter 7 node 3 2001:db8::3 eth1",
                           "adapter 8 node 4 10.1.0.4 eth0", "end of configuration"});
    expect_good_ends(clients);
    EXPECT_TRUE(daemon.stop());
}

SYSTEM_TESTS(Configuration);

} // namespace
} // namespace hb_test
