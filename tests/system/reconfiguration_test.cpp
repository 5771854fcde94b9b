// SPDX-License-Identifier: Apache-2.0
// SIGHUP makes wispd read its file again.
#include <csignal>

#include <gtest/gtest.h>

#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

class Reconfiguration : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override {
        ASSERT_TRUE(daemon.start());
        clients = start_clients(GetParam(), daemon,
                                {"open", "subscribe n 7 all-nodes", "subscribe a 7 all-adapters"});
        expect_lines(clients,
                     {"opened", "subscribed n", "subscribed a", "event 1 new-group n nodes 1 2 3 status 0",
                      "event 2 new-group a adapters 2@1 3@1 4@1 5@1 6@1 7@1 leader 2@1 group 1 status 0"});
    }
    void TearDown() override {
        expect_good_ends(clients);
        EXPECT_TRUE(daemon.stop());
    }

    Daemon daemon{GetParam().daemon, small_cluster_file()};
    Clients clients;
};

// Node 3 is removed, node 4 is up, node 5 is new, and network 1 has another name.
std::string changed_file() {
    const std::string whole = small_cluster_file();
    std::string text = whole.substr(0, whole.find("[[node]]\nnumber = 3"));
    text += R"([[node]]
number = 4
name = "delta"
  [[node.adapter]]
  network = 0
  address = "10.1.0.4"
  type = "eth0"

[[node]]
number = 5
name = "epsilon"
  [[node.adapter]]
  network = 1
  address = "10.2.0.5"
  type = "eth1"
)";
    return replaced(text, "net_b", "net_c");
}

TEST_P(Reconfiguration, AGoodFileBecomesDeathsAnUpdateAndJoins) {
    daemon.write_configuration(changed_file());
    daemon.send_signal(SIGHUP);
    expect_lines(clients, {"event 3 death a adapters 6@1-removed 7@1-removed", "event 4 death n nodes 3 id #1",
                           "event 5 configuration Hb_Config_Group", "event 6 join a adapters 8@1 11@1",
                           "event 7 join n nodes 4 5"});
    order_all(clients, "configuration");
    expect_lines(clients,
                 {"local 1 nodes 4 networks 2 adapters 6", "nodes 1 2 4 5",
                  "network 0 net_a ether adapters 2 4 8", "network 1 net_c token adapters 3 5 11",
                  "adapter 2 node 1 10.1.0.1 eth0", "adapter 3 node 1 10.2.0.1 eth1",
                  "adapter 4 node 2 10.1.0.2 eth0", "adapter 5 node 2 10.2.0.2 eth1",
                  "adapter 8 node 4 10.1.0.4 eth0", "adapter 11 node 5 10.2.0.5 eth1", "end of configuration"});
}

TEST_P(Reconfiguration, ABrokenFileIsRefusedWithItsPlaceAndChangesNothing) {
    daemon.write_configuration(
        "[cluster]\nlocal_node = 1\nmax_nodes = 8\nadapters_per_node = 2\nmax_node = 9\n");
    daemon.send_signal(SIGHUP);
    EXPECT_TRUE(daemon.wait_logged("cluster.toml:5:"));
    EXPECT_NE(daemon.log().find("'max_node'"), std::string::npos);
    // No client received an event, and wispd continues.
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    expect_lines(clients, {"event 3 death a adapters 6@1 7@1", "event 4 death n nodes 3 id #1"});
    order_all(clients, "totals");
    expect_lines(clients, {"local 1 nodes 4 networks 2 adapters 7",
                           "iterated 4 nodes, 2 networks, 7 adapters, numbers sum 35"});
    daemon.write_configuration(changed_file());
    daemon.send_signal(SIGHUP);
    expect_lines(clients, {"event 5 configuration Hb_Config_Group", "event 6 join a adapters 8@1 11@1",
                           "event 7 join n nodes 4 5"});
}

// Node 2048 is new, with an adapter in network 1.
std::string grown_file() {
    return replaced(small_cluster_file(), "max_nodes = 8", "max_nodes = 2049") +
           "[[node]]\nnumber = 2048\n[[node.adapter]]\nnetwork = 1\naddress = \"10.2.8.0\"\ntype = \"eth1\"\n";
}

TEST_P(Reconfiguration, AClusterMayGrow) {
    daemon.write_configuration(grown_file());
    daemon.send_signal(SIGHUP);
    expect_lines(clients, {"event 3 configuration Hb_Config_Group", "event 4 join a adapters 4097@1",
                           "event 5 join n nodes 2048"});
    // A client that opens the library now works as well.
    Clients later = start_clients(GetParam(), daemon, {"open", "totals"});
    expect_lines(later, {"opened", "local 1 nodes 5 networks 2 adapters 8",
                         "iterated 5 nodes, 2 networks, 8 adapters, numbers sum 4132"});
}

TEST_P(Reconfiguration, AnOpenClientReadsTheRoutesOfAClusterThatHasGrown) {
    const std::string before = " 10.1.0.1 10.1.0.2";
    order_all(clients, "routes 2");
    expect_lines(clients, {"route 2 read:" + before + " read, IP:" + before + " asked:" + before});
    daemon.write_configuration(grown_file());
    daemon.send_signal(SIGHUP);
    expect_lines(clients, {"event 3 configuration Hb_Config_Group", "event 4 join a adapters 4097@1",
                           "event 5 join n nodes 2048"});
    order_all(clients, "routes 2 2048");
    const std::string fresh = " 10.2.0.1 10.2.8.0";
    expect_lines(clients, {"route 2 read:" + before + " read, IP:" + before + " asked:" + before,
                           "route 2048 read:" + fresh + " read, IP:" + fresh + " asked:" + fresh});
}

SYSTEM_TESTS(Reconfiguration);

} // namespace
} // namespace hb_test
