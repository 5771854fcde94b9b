// SPDX-License-Identifier: Apache-2.0
// A client receives the events of its subscriptions, and no others.
#include <gtest/gtest.h>

#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

class Subscriptions : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }
    void TearDown() override { EXPECT_TRUE(daemon.stop()); }

    void tell_all(const std::vector<std::string> &orders) {
        for (const std::string &order : orders) {
            EXPECT_TRUE(daemon.tells(order));
        }
    }

    Daemon daemon{GetParam().daemon, small_cluster_file()};
};

const std::string NODE_3_DOWN = R"({"do":"node-down","node":3})";
const std::string NODE_3_UP = R"({"do":"node-up","node":3})";
const std::string NODE_2_DOWN = R"({"do":"node-down","node":2})";
const std::string NODE_2_UP = R"({"do":"node-up","node":2})";

TEST_P(Subscriptions, TheMaskChoosesTheEvents) {
    Clients deaths = start_clients(GetParam(), daemon, {"open", "subscribe deaths 1 all-nodes"});
    Clients joins = start_clients(GetParam(), daemon, {"open", "subscribe joins 2 all-nodes"});
    Clients groups = start_clients(GetParam(), daemon, {"open", "subscribe groups 4 all-nodes"});
    // Each makes one more request at the end, which shows that the earlier lines are complete.
    expect_lines(deaths, {"opened", "subscribed deaths"});
    expect_lines(joins, {"opened", "subscribed joins"});
    expect_lines(groups, {"opened", "subscribed groups", "event 1 new-group groups nodes 1 2 3 status 0"});
    for (Clients *clients : {&deaths, &joins}) {
        order_all(*clients, "subscribe ready 4 nodes 1");
        expect_lines(*clients, {"subscribed ready", "event 1 new-group ready nodes 1 status 0"});
    }
    tell_all({NODE_3_DOWN, NODE_3_UP, NODE_2_DOWN, NODE_2_UP});
    expect_lines(deaths, {"event 2 death deaths nodes 3 id #1", "event 3 death deaths nodes 2 id #2"});
    expect_lines(joins, {"event 2 join joins nodes 3", "event 3 join joins nodes 2"});
    order_all(deaths, "subscribe end 4 nodes 1");
    expect_lines(deaths, {"subscribed end", "event 4 new-group end nodes 1 status 0"});
    order_all(joins, "subscribe end 4 nodes 1");
    expect_lines(joins, {"subscribed end", "event 4 new-group end nodes 1 status 0"});
    order_all(groups, "subscribe end 4 nodes 1");
    expect_lines(groups, {"subscribed end", "event 2 new-group end nodes 1 status 0"});
}

TEST_P(Subscriptions, TheMembersChooseTheEvents) {
    Clients nodes = start_clients(GetParam(), daemon, {"open", "subscribe n 7 nodes 2 4"});
    Clients adapters = start_clients(GetParam(), daemon, {"open", "subscribe a 7 adapters 4 7"});
    Clients network = start_clients(GetParam(), daemon, {"open", "subscribe w 7 network 1"});
    expect_lines(nodes, {"opened", "subscribed n", "event 1 new-group n nodes 2 status 0"});
    expect_lines(adapters, {"opened", "subscribed a",
                            "event 1 new-group a adapters 4@1 7@1 leader 4@1 group 1 status 0"});
    expect_lines(network, {"opened", "subscribed w",
                           "event 1 new-group w adapters 3@1 5@1 7@1 leader 3@1 group 1 status 0"});
    tell_all({NODE_3_DOWN, NODE_2_DOWN, NODE_2_UP, R"({"do":"adapter-down","adapter":2})"});
    expect_lines(nodes, {"event 2 death n nodes 2 id #1", "event 3 join n nodes 2"});
    expect_lines(adapters, {"event 2 death a adapters 7@1", "event 3 death a adapters 4@1",
                            "event 4 join a adapters 4@2"});
    expect_lines(network, {"event 2 death w adapters 7@1", "event 3 death w adapters 5@1",
                           "event 4 join w adapters 5@2"});
    order_all(nodes, "subscribe end 4 nodes 1 2 3");
    expect_lines(nodes, {"subscribed end", "event 4 new-group end nodes 1 2 status 0"});
    order_all(adapters, "subscribe end 4 adapters 3 6 8");
    expect_lines(adapters,
                 {"subscribed end", "event 5 new-group end adapters 3@1 leader 3@1 group 5 status 0"});
    order_all(network, "subscribe end 4 adapters 2");
    expect_lines(network, {"subscribed end", "event 5 new-group end adapters group 5 status 0"});
}

TEST_P(Subscriptions, TwoSubscriptionsOfOneClientAreToldOneAfterTheOther) {
    Clients clients = start_clients(
        GetParam(), daemon,
        {"open", "subscribe one 3 all-nodes", "subscribe two 3 nodes 3", "subscribe ready 4 nodes 1"});
    expect_lines(clients, {"opened", "subscribed one", "subscribed two", "subscribed ready",
                           "event 1 new-group ready nodes 1 status 0"});
    tell_all({NODE_3_DOWN});
    expect_lines(clients, {"event 2 death one nodes 3 id #1", "event 3 death two nodes 3 id #1"});
}

TEST_P(Subscriptions, UnsubscribingEndsTheEventsOfThatName) {
    Clients clients = start_clients(GetParam(), daemon,
                                    {"open", "subscribe one 3 all-nodes", "subscribe two 3 all-nodes",
                                     "unsubscribe one", "subscribe ready 4 nodes 1"});
    expect_lines(clients, {"opened", "subscribed one", "subscribed two", "unsubscribed one", "subscribed ready",
                           "event 1 new-group ready nodes 1 status 0"});
    tell_all({NODE_3_DOWN, NODE_3_UP});
    expect_lines(clients, {"event 2 death two nodes 3 id #1", "event 3 join two nodes 3"});
}

TEST_P(Subscriptions, TheSameNameAgainReplacesTheSubscription) {
    Clients clients =
        start_clients(GetParam(), daemon, {"open", "subscribe same 3 nodes 3", "subscribe same 7 nodes 2"});
    expect_lines(clients,
                 {"opened", "subscribed same", "subscribed same", "event 1 new-group same nodes 2 status 0"});
    tell_all({NODE_3_DOWN, NODE_2_DOWN});
    expect_lines(clients, {"event 2 death same nodes 2 id #1"});
}

TEST_P(Subscriptions, AllCoversWhoIsConfiguredLater) {
    Clients clients = start_clients(GetParam(), daemon, {"open", "subscribe n 7 all-nodes"});
    expect_lines(clients, {"opened", "subscribed n", "event 1 new-group n nodes 1 2 3 status 0"});
    tell_all({R"({"do":"adapter-join","adapter":10,"address":"10.1.0.5"})"});
    expect_lines(clients, {"event 2 configuration Hb_Config_Group", "event 3 join n nodes 5"});
}

TEST_P(Subscriptions, ANewGroupShowsWhoIsUpNow) {
    tell_all({NODE_3_DOWN, R"({"do":"adapter-down","adapter":5})"});
    Clients clients =
        start_clients(GetParam(), daemon, {"open", "subscribe n 4 all-nodes", "subscribe a 4 all-adapters"});
    expect_lines(clients, {"opened", "subscribed n", "subscribed a", "event 1 new-group n nodes 1 2 status 0",
                           "event 2 new-group a adapters 2@1 3@1 4@1 leader 2@1 group 3 status 0"});
}

TEST_P(Subscriptions, AClientThatSubscribesAfterAnUpdateIsGivenItFirst) {
    Clients clients = start_clients(GetParam(), daemon, {"open"});
    expect_lines(clients, {"opened"});
    tell_all({R"({"do":"node-leave","node":3})"});
    order_all(clients, "subscribe n 4 all-nodes");
    expect_lines(clients, {"subscribed n", "event 1 configuration Hb_Config_Group",
                           "event 2 new-group n nodes 1 2 status 0"});
}

TEST_P(Subscriptions, NoticesGoToWhoAskedForThemAlone) {
    Clients nodes = start_clients(GetParam(), daemon, {"open", "subscribe n 4 nodes 1"});
    Clients instances =
        start_clients(GetParam(), daemon, {"open", "subscribe i 256 instances", "subscribe n 4 nodes 1"});
    Clients heartbeats =
        start_clients(GetParam(), daemon, {"open", "subscribe h 512 all-nodes", "subscribe n 4 nodes 1"});
    Clients silent = start_clients(GetParam(), daemon, {"open"});
    expect_lines(nodes, {"opened", "subscribed n", "event 1 new-group n nodes 1 status 0"});
    expect_lines(instances, {"opened", "subscribed i", "subscribed n", "event 1 new-group n nodes 1 status 0"});
    expect_lines(heartbeats,
                 {"opened", "subscribed h", "subscribed n", "event 1 new-group n nodes 1 status 0"});
    expect_lines(silent, {"opened"});
    tell_all({R"({"do":"foreign-instance","address":"2001:db8::9","instance":9})",
              R"({"do":"heartbeat","threshold_seconds":1})", R"({"do":"ffdc","id":"all"})"});
    expect_lines(nodes, {"event 2 ffdc Hb_FFDC_Group id all"});
    expect_lines(instances, {"event 2 different-instance i from 2001:db8::9 instance 9",
                             "event 3 ffdc Hb_FFDC_Group id all"});
    expect_lines(heartbeats,
                 {"event 2 heartbeat h threshold 1s 0us enabled 1 pid " + std::to_string(daemon.pid()),
                  "event 3 ffdc Hb_FFDC_Group id all"});
    // A client without a subscription receives nothing.
    order_all(silent, "subscribe n 4 nodes 1");
    expect_lines(silent, {"subscribed n", "event 1 new-group n nodes 1 status 0"});
}

SYSTEM_TESTS(Subscriptions);

class HeartbeatSettings : public testing::TestWithParam<Setup> {};

TEST_P(HeartbeatSettings, OfTheFileAreToldOnSubscribing) {
    Daemon daemon(GetParam().daemon,
                  small_cluster_file() + "\n[heartbeat]\nthreshold_seconds = 6\nthreshold_microseconds = 7\n");
    ASSERT_TRUE(daemon.start());
    Clients clients = start_clients(GetParam(), daemon, {"open", "heartbeat", "subscribe h 516 all-nodes"});
    expect_lines(clients,
                 {"opened", "heartbeat threshold 0s 0us enabled 0 pid 0", "subscribed h",
                  "event 1 new-group h nodes 1 2 3 status 0",
                  "event 2 heartbeat h threshold 6s 7us enabled 1 pid " + std::to_string(daemon.pid())});
    EXPECT_TRUE(daemon.stop());
}

SYSTEM_TESTS(HeartbeatSettings);

} // namespace
} // namespace hb_test
