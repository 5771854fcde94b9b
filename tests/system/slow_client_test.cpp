// SPDX-License-Identifier: Apache-2.0
// A client that does not read must not delay the others, and must not miss an event unnoticed.
#include <system_error>

#include <gtest/gtest.h>

#include "tests/support/records.h"
#include "tests/system/client.h"
#include "tests/system/clusters.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

class SlowClient : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override {
        ASSERT_TRUE(daemon.start());
        others = start_clients(GetParam(), daemon,
                               {"open", "subscribe a 3 all-adapters", "subscribe ready 4 nodes 1"});
        expect_lines(
            others, {"opened", "subscribed a", "subscribed ready", "event 1 new-group ready nodes 1 status 0"});
    }
    void TearDown() override {
        expect_good_ends(others);
        EXPECT_TRUE(daemon.stop());
    }

    // A client with many subscriptions, so that its queue fills after few changes.
    std::unique_ptr<Client> start_slow_one() {
        auto client = std::make_unique<Client>(GetParam().clients.front(), daemon.socket(),
                                               std::vector<std::string>{"open"});
        for (std::size_t i = 0; i < SUBSCRIPTIONS; ++i) {
            client->order("subscribe s" + std::to_string(i) + " 3 all-adapters");
        }
        client->order("subscribe ready 4 nodes 1");
        EXPECT_EQ(client->lines_until("event 1 new-group ready nodes 1 status 0").size(), SUBSCRIPTIONS + 3u);
        return client;
    }

    // One death and one join, which all the others must receive at once.
    void change_once() {
        ++changes;
        const std::string incarnation = std::to_string(changes);
        EXPECT_TRUE(daemon.tells(R"({"do":"adapter-down","adapter":5})"));
        expect_lines(others, {"event " + std::to_string(2 * changes) + " death a adapters 5@" + incarnation});
        EXPECT_TRUE(daemon.tells(R"({"do":"adapter-up","adapter":5})"));
        expect_lines(others, {"event " + std::to_string(2 * changes + 1) + " join a adapters 5@" +
                              std::to_string(changes + 1)});
    }

    bool disconnected() const {
        return daemon.log().find("disconnected: it does not read") != std::string::npos;
    }

    void change_until_disconnected() {
        constexpr int MOST = 2000;
        while (!disconnected() && changes < MOST && !HasFailure()) {
            change_once();
        }
        EXPECT_TRUE(disconnected());
        change_once(); // the cluster continues
    }

    // The events that reached it have no gap; then it receives the end of the connection.
    static void expect_unbroken_until_the_end(Client &slow) {
        const std::vector<std::string> lines = slow.lines_until("failed event 16");
        ASSERT_EQ(lines.back(), "failed event 16");
        for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
            ASSERT_EQ(lines[i].substr(0, lines[i].find(' ', 6)), "event " + std::to_string(i + 2));
        }
    }

    static constexpr std::size_t SUBSCRIPTIONS = 40;

    Daemon daemon{GetParam().daemon, small_cluster_file() + "\n[daemon]\nclient_queue_bytes = 65536\n"};
    Clients others;
    int changes = 0;
};

TEST_P(SlowClient, AStoppedProcessIsDisconnectedAndTheOthersMissNothing) {
    const std::unique_ptr<Client> slow = start_slow_one();
    slow->stop_it();
    change_until_disconnected();
    slow->continue_it();
    expect_unbroken_until_the_end(*slow);
    EXPECT_EQ(slow->ask("close"), "closed");
    EXPECT_EQ(slow->ask("open"), "opened");
    EXPECT_TRUE(slow->end());
}

TEST_P(SlowClient, AProcessThatLivesButDoesNotReadIsDisconnectedToo) {
    const std::unique_ptr<Client> slow = start_slow_one();
    EXPECT_EQ(slow->ask("pause"), "paused");
    change_until_disconnected();
    EXPECT_EQ(slow->ask("resume"), "resumed");
    expect_unbroken_until_the_end(*slow);
    EXPECT_TRUE(slow->end());
}

TEST_P(SlowClient, OneThatPausesBrieflyMissesNothing) {
    Client slow(GetParam().clients.back(), daemon.socket(),
                {"open", "subscribe a 3 all-adapters", "subscribe ready 4 nodes 1"});
    EXPECT_EQ(slow.lines_until("event 1 new-group ready nodes 1 status 0").size(), 4u);
    slow.stop_it();
    for (int i = 0; i < 20; ++i) {
        change_once();
    }
    slow.continue_it();
    for (int i = 1; i <= 20; ++i) {
        EXPECT_EQ(slow.line(), "event " + std::to_string(2 * i) + " death a adapters 5@" + std::to_string(i));
        EXPECT_EQ(slow.line(),
                  "event " + std::to_string(2 * i + 1) + " join a adapters 5@" + std::to_string(i + 1));
    }
    EXPECT_TRUE(slow.end());
    EXPECT_FALSE(disconnected());
}

TEST_P(SlowClient, OneThatAsksAndNeverReadsTheAnswersIsDisconnected) {
    const Stream greedy(daemon.socket());
    const Bytes question = frame(request(201, 4711));
    for (int i = 0; i < 100000 && !disconnected(); ++i) {
        try {
            greedy.send(question);
        } catch (const std::system_error &) {
            break; // closed already
        }
    }
    EXPECT_TRUE(daemon.wait_logged("disconnected: it does not read"));
    EXPECT_TRUE(greedy.wait_closed());
    change_once();
}

SYSTEM_TESTS(SlowClient);

} // namespace
} // namespace hb_test
