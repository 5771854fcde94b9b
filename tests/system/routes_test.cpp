// SPDX-License-Identifier: Apache-2.0
// Routes in shared memory, read by many processes while wispd changes them.
#include <algorithm>
#include <csignal>
#include <sys/sem.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/system/client.h"
#include "tests/system/clusters.h"
#include "tests/system/readers.h"

namespace hb_test {
namespace {

constexpr unsigned short READERS_INSIDE = 0;
constexpr unsigned short WRITER = 1;

class Routes : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }
    void TearDown() override { EXPECT_TRUE(daemon.stop()); }

    // While adapter 1 of this node is up, the short route is used.
    void change_routes() {
        EXPECT_TRUE(daemon.tells(short_way ? R"({"do":"adapter-down","adapter":1})"
                                           : R"({"do":"adapter-up","adapter":1})"));
        short_way = !short_way;
    }
    bool routes_are_current() {
        return nlohmann::json::parse(daemon.tell(R"({"do":"state"})")).at("state").at("routes_current");
    }
    int semaphore(unsigned short number) const { return semctl(daemon.ipc_ids()[3], number, GETVAL); }
    testing::AssertionResult semaphores_come_to_rest() const {
        if (wait_until([&] { return semaphore(READERS_INSIDE) == 0 && semaphore(WRITER) == 0; })) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure()
               << "the semaphores are " << semaphore(READERS_INSIDE) << " and " << semaphore(WRITER);
    }
    // A reader of the library that stays in the segment just before it reads.
    std::unique_ptr<Child_Process> reader_inside(const Programs &programs) {
        std::unique_ptr<Child_Process> reader = start_reader(programs, daemon, {"stay"});
        EXPECT_EQ(reader->read_line(), "inside") << reader->error_output();
        return reader;
    }

    Daemon daemon{GetParam().daemon, two_chains_file()};
    bool short_way = true;
};

TEST_P(Routes, AreNeverTornHoweverManyReadAndAreInterrupted) {
    Readers readers;
    readers.start(GetParam(), daemon, "routes");
    readers.change_until_all_have_seen(1000, [&] { change_routes(); });
    readers.end_well();
    EXPECT_TRUE(semaphores_come_to_rest());
}

TEST_P(Routes, ReadersThatAreKilledLeaveNobodyCountedIn) {
    Readers readers;
    readers.start(GetParam(), daemon, "routes");
    for (int round = 0; round < 3; ++round) {
        std::vector<std::unique_ptr<Child_Process>> victims;
        for (const Programs &programs : GetParam().clients) {
            victims.push_back(start_reader(programs, daemon, {"routes"}));
        }
        for (const auto &victim : victims) {
            ASSERT_EQ(victim->read_line(), "ready") << victim->error_output();
            change_routes();
            victim->send_signal(SIGKILL); // at any point
        }
    }
    readers.change_until_all_have_seen(10, [&] { change_routes(); });
    readers.end_well();
    EXPECT_TRUE(semaphores_come_to_rest());
}

TEST_P(Routes, ReadersThatAreKilledInsideLetTheWriterIn) {
    std::vector<std::unique_ptr<Child_Process>> inside;
    for (const Programs &programs : GetParam().clients) {
        inside.push_back(reader_inside(programs));
    }
    EXPECT_EQ(semaphore(READERS_INSIDE), static_cast<int>(inside.size()));
    change_routes();
    EXPECT_TRUE(wait_until([&] { return semaphore(WRITER) == 1; })) << "the writer does not ask for its turn";
    for (const auto &reader : inside) {
        reader->send_signal(SIGKILL);
    }
    EXPECT_TRUE(wait_until([&] { return routes_are_current(); }));
    EXPECT_TRUE(semaphores_come_to_rest());
    Readers readers;
    readers.start(GetParam(), daemon, "routes");
    readers.change_until_all_have_seen(1, [&] { change_routes(); });
    readers.end_well();
}

TEST_P(Routes, AReaderThatStaysInsideStopsNobodyForLong) {
    Client client(GetParam().clients.back(), daemon.socket(), {"open"});
    EXPECT_EQ(client.line(), "opened");
    const std::unique_ptr<Child_Process> stayer = reader_inside(GetParam().clients.front());
    change_routes();
    EXPECT_FALSE(routes_are_current());
    // A new reader waits for the writer, which lets it go first.
    EXPECT_EQ(client.ask("routes 7"), "route 7 read: 10.1.0.1 10.1.0.6 10.3.0.6 10.3.0.7 10.5.0.7 10.5.0.8"
                                      " read, IP: 10.1.0.1 10.1.0.6 10.3.0.6 10.3.0.7 10.5.0.7 10.5.0.8"
                                      " asked: error 6");
    EXPECT_TRUE(daemon.wait_logged("routes in shared memory not updated: 1 readers block the update"));
    Readers readers;
    readers.start(GetParam(), daemon, "routes");
    readers.end_well();
    stayer->write_input("\n");
    EXPECT_EQ(stayer->read_line(), "left with 8 hops");
    EXPECT_TRUE(semaphores_come_to_rest());
    EXPECT_TRUE(client.end());
}

TEST_P(Routes, AReaderThatStaysInsideForLongKeepsNoRoutesBack) {
    const std::unique_ptr<Child_Process> stayer = reader_inside(GetParam().clients.front());
    change_routes();
    EXPECT_TRUE(daemon.wait_logged(
        "routes in shared memory updated without waiting for readers: 1 readers block the update"));
    EXPECT_TRUE(wait_until([&] { return routes_are_current(); }));
    EXPECT_EQ(semaphore(READERS_INSIDE), 0);
    stayer->write_input("\n");
    EXPECT_EQ(stayer->read_line(), "left with 10 hops") << "the new route, read whole";
    EXPECT_TRUE(semaphores_come_to_rest());
}

TEST_P(Routes, AReaderThatIsInterruptedBeforeItIsInsideWaitsOn) {
    for (const Programs &programs : GetParam().clients) {
        const std::unique_ptr<Child_Process> reader = start_reader(programs, daemon, {"routes", "signals"});
        ASSERT_TRUE(reader->read_until("ready")) << reader->error_output();
        const std::unique_ptr<Child_Process> stayer = reader_inside(programs);
        change_routes();
        EXPECT_TRUE(reader->read_until("interrupted"));
        stayer->write_input("\n");
        EXPECT_TRUE(reader->read_until("changed"));
        reader->close_input();
        EXPECT_TRUE(reader->read_until("torn 0 failed 0")) << reader->error_output();
    }
    EXPECT_TRUE(semaphores_come_to_rest());
}

TEST_P(Routes, WhatIsReadIsWhatIsAnswered) {
    Clients clients = start_clients(GetParam(), daemon, {"open"});
    expect_lines(clients, {"opened"});
    order_all(clients, "routes 0 1 7 8 9");
    const std::string to_7 = " 10.1.0.1 10.1.0.6 10.3.0.6 10.3.0.7 10.5.0.7 10.5.0.8";
    expect_lines(clients,
                 {"route 0 read: 10.0.0.1 read, IP: 10.0.0.1 asked: 10.0.0.1",
                  "route 1 read: 10.0.0.1 10.0.0.2 read, IP: 10.0.0.1 10.0.0.2 asked: 10.0.0.1 10.0.0.2",
                  "route 7 read:" + to_7 + " read, IP:" + to_7 + " asked:" + to_7,
                  "route 8 read:" + to_7 + " 10.7.0.8 10.7.0.9 read, IP:" + to_7 +
                      " 10.7.0.8 10.7.0.9 asked:" + to_7 + " 10.7.0.8 10.7.0.9",
                  "route 9 read:" + to_7 + " 10.7.0.8 10.7.0.10 read, IP:" + to_7 +
                      " 10.7.0.8 10.7.0.10 asked:" + to_7 + " 10.7.0.8 10.7.0.10"});
    change_routes();
    EXPECT_TRUE(wait_until([&] { return routes_are_current(); }));
    order_all(clients, "routes 7 8 9");
    const std::string to_4 = " 10.0.0.1 10.0.0.2 10.2.0.2 10.2.0.3 10.4.0.3 10.4.0.4 10.6.0.4 10.6.0.5";
    expect_lines(clients, {"route 7 read: error 6 read, IP: error 6 asked: error 6",
                           "route 8 read:" + to_4 + " 10.8.0.5 10.8.0.9 read, IP:" + to_4 +
                               " 10.8.0.5 10.8.0.9 asked:" + to_4 + " 10.8.0.5 10.8.0.9",
                           "route 9 read:" + to_4 + " :: :: read, IP: error 49 asked:" + to_4 + " :: ::"});
    // A node that is not configured, and one beyond the slots.
    order_all(clients, "routes 10 64 -1");
    expect_lines(clients, {"route 10 read: error 6 read, IP: error 6 asked: error 9",
                           "route 64 read: error 4 read, IP: error 4 asked: error 4",
                           "route -1 read: error 4 read, IP: error 4 asked: error 4"});
    expect_good_ends(clients);
}

SYSTEM_TESTS(Routes);

} // namespace
} // namespace hb_test
