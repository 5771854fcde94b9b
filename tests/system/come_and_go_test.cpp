// SPDX-License-Identifier: Apache-2.0
// Clients of the library connect and disconnect while events flow.
#include <gtest/gtest.h>

#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

class ComeAndGo : public testing::TestWithParam<Setup> {};

TEST_P(ComeAndGo, LibraryClientsOpenAndCloseWhileEventsFlow) {
    Daemon daemon(GetParam().daemon, small_cluster_file());
    ASSERT_TRUE(daemon.start());
    Client watcher(GetParam().clients.front(), daemon.socket(), {"open", "subscribe n 7 all-nodes"});
    EXPECT_EQ(watcher.lines_until("event 1 new-group n nodes 1 2 3 status 0").size(), 3u);
    const int descriptors = daemon.open_descriptors();
    Clients clients = start_clients(GetParam(), daemon, {});
    for (int round = 1; round <= 25; ++round) {
        order_all(clients, "open");
        order_all(clients, "subscribe s 3 all-adapters");
        EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
        order_all(clients, "close");
        EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
        const std::string number = std::to_string(round);
        EXPECT_EQ(watcher.line(), "event " + std::to_string(2 * round) + " death n nodes 3 id #" + number);
        EXPECT_EQ(watcher.line(), "event " + std::to_string(2 * round + 1) + " join n nodes 3");
        for (const auto &client : clients) {
            EXPECT_EQ(client->lines_until("closed").front(), "opened");
        }
    }
    EXPECT_TRUE(wait_until([&] { return daemon.open_descriptors() == descriptors; }));
    // Some end without closing the library.
    order_all(clients, "open");
    expect_lines(clients, {"opened"});
    clients.clear();
    EXPECT_TRUE(wait_until([&] { return daemon.open_descriptors() == descriptors; }));
    EXPECT_TRUE(watcher.end());
    EXPECT_TRUE(daemon.stop());
}

SYSTEM_TESTS(ComeAndGo);

} // namespace
} // namespace hb_test
