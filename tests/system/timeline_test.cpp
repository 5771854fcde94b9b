// SPDX-License-Identifier: Apache-2.0
// A timeline file drives the cluster.
#include <gtest/gtest.h>

#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

std::string with_timeline(const std::string &name) {
    return small_cluster_file() + "\n[source]\ntimeline = \"" + name + "\"\n";
}

class Timeline : public testing::TestWithParam<Setup> {};

TEST_P(Timeline, ItsEventsReachTheClientsOnceAndInOrder) {
    constexpr int TIMES = 40;
    std::string timeline;
    for (int i = 0; i < TIMES; ++i) {
        timeline += "[[event]]\nafter = 0.02\ndo = \"adapter-down\"\nadapter = 5\n"
                    "[[event]]\nafter = 0.02\ndo = \"adapter-up\"\nadapter = 5\n";
    }
    Daemon daemon(GetParam().daemon, with_timeline("t.toml"));
    daemon.write_file("t.toml", timeline);
    ASSERT_TRUE(daemon.start());
    // Clients connect while it runs, so each of them sees only the rest of it.
    Clients clients = start_clients(GetParam(), daemon, {"open", "subscribe a 7 adapters 2 5"});
    EXPECT_TRUE(daemon.wait_logged("the timeline has ended"));
    order_all(clients, "subscribe end 4 nodes 1");
    for (const auto &client : clients) {
        EXPECT_EQ(client->lines(2), (std::vector<std::string>{"opened", "subscribed a"}));
        std::string line = client->line();
        const std::string start = "event 1 new-group a adapters 2@1";
        ASSERT_EQ(line.substr(0, start.size()), start);
        int incarnation = 1;
        int sequence = 1;
        const std::size_t member = line.find(" 5@");
        bool up = member != std::string::npos;
        bool known = up; // a member that is down does not show its incarnation
        if (up) {
            incarnation = std::stoi(line.substr(member + 3));
        }
        while ((line = client->line()).find(" new-group end ") == std::string::npos) {
            if (line == "subscribed end") {
                continue;
            }
            if (!known) {
                incarnation = std::stoi(line.substr(line.find("5@") + 2));
                known = true;
            } else if (!up) {
                ++incarnation;
            }
            up = !up;
            const std::string number = std::to_string(++sequence);
            const std::string adapter = " a adapters 5@" + std::to_string(incarnation);
            ASSERT_EQ(line,
                      up ? "event " + number + " join" + adapter : "event " + number + " death" + adapter);
        }
        EXPECT_TRUE(up);
        EXPECT_EQ(incarnation, TIMES + 1);
        EXPECT_EQ(line, "event " + std::to_string(sequence + 1) + " new-group end nodes 1 status 0");
    }
    expect_good_ends(clients);
    EXPECT_TRUE(daemon.stop());
}

TEST_P(Timeline, EveryVerbCanStandInIt) {
    Daemon daemon(GetParam().daemon, with_timeline("t.toml"));
    daemon.write_file("t.toml", R"([[event]]
after = 0
do = "node-down"
node = 3
[[event]]
after = 0.001
do = "node-leave"
node = 2
[[event]]
after = 0
do = "adapter-join"
adapter = 9
address = "10.2.0.4"
type = "eth9"
[[event]]
after = 0
do = "ffdc"
id = "first"
[[event]]
after = 0
do = "foreign-instance"
address = "10.9.0.1"
instance = 2
[[event]]
after = 0
do = "heartbeat"
threshold_seconds = 4
)");
    ASSERT_TRUE(daemon.start());
    EXPECT_TRUE(daemon.wait_logged("the timeline has ended"));
    Clients clients = start_clients(GetParam(), daemon, {"open", "configuration", "subscribe n 516 all-nodes"});
    expect_lines(clients,
                 {"opened", "local 1 nodes 3 networks 2 adapters 6", "nodes 1 3 4",
                  "network 0 net_a ether adapters 2 6 8", "network 1 net_b token adapters 3 7 9",
                  "adapter 2 node 1 10.1.0.1 eth0", "adapter 3 node 1 10.2.0.1 eth1",
                  "adapter 6 node 3 10.1.0.3 eth0", "adapter 7 node 3 2001:db8::3 eth1",
                  "adapter 8 node 4 10.1.0.4 eth0", "adapter 9 node 4 10.2.0.4 eth9", "end of configuration",
                  "subscribed n", "event 1 new-group n nodes 1 4 status 0",
                  "event 2 heartbeat n threshold 4s 0us enabled 1 pid " + std::to_string(daemon.pid())});
    expect_good_ends(clients);
    EXPECT_TRUE(daemon.stop());
}

TEST_P(Timeline, ItCanEndTheDaemon) {
    Daemon daemon(GetParam().daemon, with_timeline("t.toml"));
    daemon.write_file("t.toml", "[[event]]\nafter = 0.05\ndo = \"stop\"\n");
    const testing::AssertionResult started = daemon.start(); // wispd may have ended by now
    EXPECT_NE(daemon.log().find("listening on "), std::string::npos) << started.message();
    EXPECT_TRUE(daemon.wait_stopped());
}

SYSTEM_TESTS(Timeline);

} // namespace
} // namespace hb_test
