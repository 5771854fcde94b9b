// SPDX-License-Identifier: Apache-2.0
// `hbctl watch --exec`: each event reaches the command once, in order, also when the command is slow.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {
namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

class WatchExec : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }
    void TearDown() override { EXPECT_TRUE(daemon.stop()); }

    std::unique_ptr<Child_Process> watch(const std::string &command, const Words &options) {
        Words line{daemon.programs().path("hbctl"),
                   "--socket",
                   daemon.socket(),
                   "subscribe",
                   "--nodes",
                   "3",
                   "--events",
                   "death,join,new-group",
                   "--exec",
                   command};
        line.insert(line.end(), options.begin(), options.end());
        auto process = std::make_unique<Child_Process>(line);
        process->close_input();
        return process;
    }
    bool is_subscribed() { return daemon.tell(R"({"do":"state"})").find("\"hbctl\"") != std::string::npos; }
    bool has_nothing_queued() {
        const json clients = json::parse(daemon.tell(R"({"do":"state"})"))["state"]["clients"];
        return std::all_of(clients.begin(), clients.end(),
                           [](const json &client) { return client["queued_bytes"] == 0; });
    }
    // `count` deaths and joins of node 3, which lead to one event each.
    void change(int count) {
        for (int i = 0; i < count; ++i) {
            ASSERT_TRUE(
                daemon.tells(i % 2 == 0 ? R"({"do":"node-down","node":3})" : R"({"do":"node-up","node":3})"));
        }
    }
    std::vector<std::string> lines_of(const std::string &name) const {
        std::ifstream file(daemon.file(name));
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }
    static std::size_t count_of(const std::string &part, const std::string &text) {
        std::size_t count = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
            ++count;
        }
        return count;
    }
    std::string file(const std::string &name) {
        daemon.write_file(name, "");
        return daemon.file(name);
    }

    // A client that does not read is disconnected after this many bytes.
    Daemon daemon{programs_of_this_build(), small_cluster_file() + "\n[daemon]\nclient_queue_bytes = 65536\n"};
};

TEST_F(WatchExec, TheCommandReceivesJsonAndVariables) {
    const auto process = watch("cat >>" + file("json") +
                                   "; echo \"$HB_SEQ $HB_EVENT $HB_GROUP [$HB_NODES]\" >>" + file("variables"),
                               {"--count", "2"});
    ASSERT_TRUE(wait_until([&] { return is_subscribed(); }));
    change(1);
    const std::optional<Child_End> end = process->wait();
    ASSERT_TRUE(end && end->exit_status == 0) << process->error_output();
    EXPECT_EQ(process->output(), "");
    const std::vector<std::string> objects = lines_of("json");
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_EQ(json::parse(objects[1])["event"], "death");
    EXPECT_EQ(json::parse(objects[1])["nodes"], json({3}));
    EXPECT_EQ(lines_of("variables"), (std::vector<std::string>{"1 new-group nodes [3]", "2 death nodes [3]"}));
}

// HB_EXEC_EVENTS=10000 for a long run.
TEST_F(WatchExec, EveryEventReachesTheCommandInOrder) {
    const char *variable = std::getenv("HB_EXEC_EVENTS");
    const int events = variable == nullptr ? 600 : std::atoi(variable);
    const auto process =
        watch("read -r line; echo $HB_SEQ $HB_EVENT >>" + file("events"), {"--count", std::to_string(events)});
    ASSERT_TRUE(wait_until([&] { return is_subscribed(); }));
    // On a busy machine the changes must not overtake hbctl by more than its queue in wispd.
    for (int left = events - 1; left > 0; left -= 100) {
        change(std::min(left, 100));
        ASSERT_TRUE(wait_until([&] { return has_nothing_queued(); }));
    }
    const std::optional<Child_End> end = process->wait(Deadline(std::chrono::minutes(30)));
    ASSERT_TRUE(end && end->exit_status == 0) << process->error_output();
    EXPECT_EQ(process->error_output(), "");
    const std::vector<std::string> lines = lines_of("events");
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(events));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string kind = i == 0 ? "new-group" : (i % 2 == 1 ? "death" : "join");
        ASSERT_EQ(lines[i], std::to_string(i + 1) + " " + kind);
    }
}

// The first run of the command waits at a gate until wispd has disconnected another client that does not read.
TEST_F(WatchExec, ASlowCommandDoesNotLoseTheConnection) {
    const std::string gate = file("gate");
    ASSERT_EQ(std::system(("rm " + gate + " && mkfifo " + gate).c_str()), 0);
    const auto slow = watch("[ $HB_SEQ != 1 ] || read -r go <" + gate + "; echo $HB_SEQ ${HB_DROPPED-none} >>" +
                                file("events"),
                            {});
    const auto stopped = watch("cat >/dev/null", {});
    ASSERT_TRUE(wait_until(
        [&] { return json::parse(daemon.tell(R"({"do":"state"})"))["state"]["clients"].size() == 2; }));
    ASSERT_TRUE(wait_until([&] { return count_of("\"hbctl\"", daemon.tell(R"({"do":"state"})")) == 2; }));
    stopped->send_signal(SIGSTOP);
    constexpr int MOST = 10'000;
    int changes = 0;
    while (daemon.log().find("does not read") == std::string::npos && changes < MOST) {
        change(100);
        changes += 100;
    }
    ASSERT_LT(changes, MOST) << "the client that is stopped stays connected";
    std::ofstream(gate) << "go\n";
    const std::size_t expected = static_cast<std::size_t>(changes) + 1;
    ASSERT_TRUE(
        wait_until([&] { return lines_of("events").size() == expected; }, Deadline(std::chrono::minutes(5))));
    const std::vector<std::string> lines = lines_of("events");
    for (std::size_t i = 0; i < expected; ++i) {
        ASSERT_EQ(lines[i], std::to_string(i + 1) + " none");
    }
    EXPECT_EQ(count_of("does not read", daemon.log()), 1U) << daemon.log();
    slow->send_signal(SIGTERM);
    EXPECT_TRUE(slow->wait());
}

TEST_F(WatchExec, OneSignalEndsItWhileACommandRuns) {
    const auto process = watch("echo $$ >>" + file("pid") + "; exec sleep 1000 >/dev/null 2>&1", {});
    ASSERT_TRUE(wait_until([&] { return lines_of("pid").size() == 1; }));
    process->send_signal(SIGTERM);
    const std::optional<Child_End> end = process->wait();
    EXPECT_TRUE(end && end->signal == 0 && end->exit_status == 0);
    EXPECT_EQ(process->error_output(), "hbctl: ended while the command had not handled the last 1 event\n");
    const pid_t command = std::stoi(lines_of("pid").at(0));
    ASSERT_GT(command, 1);
    EXPECT_EQ(kill(command, SIGKILL), 0) << "the command continues";
}

TEST_F(WatchExec, AFailureOfTheCommandIsReportedAndTheNextEventFollows) {
    const auto process = watch("[ $HB_SEQ = 2 ] || exit 7", {"--count", "2"});
    ASSERT_TRUE(wait_until([&] { return is_subscribed(); }));
    change(1);
    const std::optional<Child_End> end = process->wait();
    ASSERT_TRUE(end && end->exit_status == 0);
    EXPECT_EQ(process->error_output(), "hbctl: the command ended with the exit status 7\n");
}

} // namespace
} // namespace hb_test
