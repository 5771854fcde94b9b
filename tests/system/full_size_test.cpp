// SPDX-License-Identifier: Apache-2.0
// The largest possible cluster: 2049 nodes on 48 networks.
#include <gtest/gtest.h>

#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

constexpr std::chrono::seconds PATIENCE{300}; // 98,352 adapters, perhaps under a sanitizer

class FullSize : public testing::TestWithParam<Setup> {};

std::string numbers(int from, int to, const std::string &behind) {
    std::string text;
    for (int number = from; number <= to; ++number) {
        text += " " + std::to_string(number) + behind;
    }
    return text;
}

TEST_P(FullSize, ClientsLoadItIterateItAndAreToldOfAnUpdate) {
    Daemon daemon(GetParam().daemon, full_cluster_file());
    ASSERT_TRUE(daemon.start(Deadline(PATIENCE)));
    // wispd serves the requests of a client in order, so the event for the last one shows that it has both.
    Clients clients = start_clients(
        GetParam(), daemon, {"open", "totals", "subscribe a 3 all-adapters", "subscribe n 7 all-nodes"});
    for (const auto &client : clients) {
        client->set_patience(PATIENCE);
    }
    expect_lines(clients,
                 {"opened", "local 0 nodes 2049 networks 48 adapters 98352",
                  "iterated 2049 nodes, 48 networks, 98352 adapters, numbers sum 4836508776", "subscribed a",
                  "subscribed n", "event 1 new-group n nodes" + numbers(0, 2048, "") + " status 0"});

    EXPECT_TRUE(daemon.tells(R"({"do":"node-leave","node":2048})"));
    expect_lines(clients, {"event 2 death a adapters" + numbers(98304, 98351, "@1-removed"),
                           "event 3 death n nodes 2048 id #1", "event 4 configuration Hb_Config_Group"});
    order_all(clients, "totals");
    expect_lines(clients, {"local 0 nodes 2048 networks 48 adapters 98304",
                           "iterated 2048 nodes, 48 networks, 98304 adapters, numbers sum 4831789056"});

    // Every member at once, in one event.
    order_all(clients, "subscribe g 4 all-adapters");
    expect_lines(clients, {"subscribed g", "event 5 new-group g adapters" + numbers(0, 98303, "@1") +
                                               " leader 0@1 group 2 status 0"});
    expect_good_ends(clients);
    EXPECT_TRUE(daemon.stop());
}

SYSTEM_TESTS(FullSize);

} // namespace
} // namespace hb_test
