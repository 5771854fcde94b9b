// SPDX-License-Identifier: Apache-2.0
// wispd under a service manager: what it reports, and when.
#include <csignal>
#include <fstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/datagram_socket.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::Optional;
using testing::StartsWith;

class Managed : public testing::Test {
  protected:
    void SetUp() override { use(manager_.name()); }

    void use(const std::string &socket, const Child_Process::Environment &more = {}) {
        Child_Process::Environment environment{{"NOTIFY_SOCKET", socket}};
        environment.insert(environment.end(), more.begin(), more.end());
        daemon_.set_environment(environment);
    }
    // The state of wispd's process, as in /proc: R, S, T, ...
    char process_state() const {
        std::ifstream file("/proc/" + std::to_string(daemon_.pid()) + "/stat");
        std::string number, name;
        char state = '?';
        file >> number >> name >> state;
        return state;
    }

    Temp_Dir directory_;
    Datagram_Socket manager_{directory_.file("notify")};
    Daemon daemon_{programs_of_this_build(), small_cluster_file()};
};

TEST_F(Managed, WispdIsReadyWhenClientsCanConnect) {
    std::optional<std::string> first;
    bool accepts = false;
    // This thread starts wispd, which ends with the thread that started it.
    std::thread manager([&] {
        first = manager_.receive();
        try {
            const Stream client(daemon_.socket());
            const Stream control(daemon_.control());
            accepts = true;
        } catch (const std::exception &) {
            // the test fails below
        }
    });
    const testing::AssertionResult started = daemon_.start();
    manager.join();
    EXPECT_TRUE(started);
    EXPECT_THAT(first, Optional(std::string("READY=1\nSTATUS=3 of 4 nodes up, 0 clients")));
    EXPECT_TRUE(accepts);
    EXPECT_TRUE(daemon_.stop());
}

TEST_F(Managed, TheCountsFollowNodesAndClients) {
    ASSERT_TRUE(daemon_.start());
    {
        const Stream client(daemon_.socket());
        EXPECT_TRUE(manager_.receive_with("STATUS=3 of 4 nodes up, 1 client"));
        EXPECT_TRUE(daemon_.tells(R"({"do":"node-down","node":3})"));
        EXPECT_TRUE(manager_.receive_with("STATUS=2 of 4 nodes up, 1 client"));
    }
    EXPECT_TRUE(manager_.receive_with("STATUS=2 of 4 nodes up, 0 clients"));
    EXPECT_TRUE(daemon_.stop());
}

TEST_F(Managed, AReloadIsAnnouncedAndEndsAlsoIfTheFileIsInvalid) {
    ASSERT_TRUE(daemon_.start());
    EXPECT_TRUE(manager_.receive_with("READY=1"));
    daemon_.send_signal(SIGHUP);
    EXPECT_THAT(manager_.receive().value_or(""), StartsWith("RELOADING=1\nMONOTONIC_USEC="));
    EXPECT_THAT(manager_.receive().value_or(""), StartsWith("READY=1\n"));
    daemon_.write_configuration("[cluster\n");
    daemon_.send_signal(SIGHUP);
    EXPECT_TRUE(manager_.receive_with("RELOADING=1"));
    EXPECT_THAT(manager_.receive().value_or(""), StartsWith("READY=1\n"));
    EXPECT_TRUE(daemon_.stop());
}

TEST_F(Managed, AStopIsAnnounced) {
    ASSERT_TRUE(daemon_.start());
    EXPECT_TRUE(manager_.receive_with("READY=1"));
    EXPECT_TRUE(daemon_.stop());
    EXPECT_THAT(manager_.receive(), Optional(std::string("STOPPING=1\nSTATUS=stopping: SIGTERM")));
}

TEST_F(Managed, TheAbstractNamespaceServesAsWell) {
    const Datagram_Socket manager("@hb_test_managed_" + std::to_string(getpid()));
    use(manager.name());
    ASSERT_TRUE(daemon_.start());
    EXPECT_TRUE(manager.receive_with("READY=1"));
    EXPECT_TRUE(daemon_.stop());
    EXPECT_TRUE(manager.receive_with("STOPPING=1"));
}

TEST_F(Managed, AStoppedProcessDoesNotFeedItsWatchdog) {
    use(manager_.name(), {{"WATCHDOG_USEC", "40000"}});
    ASSERT_TRUE(daemon_.start());
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(manager_.receive_with("WATCHDOG=1"));
    }
    daemon_.send_signal(SIGSTOP);
    EXPECT_TRUE(wait_until([this] { return process_state() == 'T'; }));
    manager_.drain();
    EXPECT_FALSE(manager_.receive(Deadline(400ms))) << "ten intervals without a sign of life";
    daemon_.send_signal(SIGCONT);
    EXPECT_TRUE(manager_.receive_with("WATCHDOG=1"));
    EXPECT_TRUE(daemon_.stop());
}

// As the manager does with a daemon that does not feed its watchdog: kill it, and start it again.
TEST_F(Managed, ARestartAfterAMissedWatchdogCleansUpAndServesAgain) {
    ASSERT_TRUE(daemon_.start());
    daemon_.send_signal(SIGSTOP);
    EXPECT_TRUE(wait_until([this] { return process_state() == 'T'; }));
    const Ipc_Ids before = daemon_.ipc_ids();
    daemon_.kill();
    ASSERT_TRUE(daemon_.start());
    EXPECT_TRUE(existing(before).empty());
    EXPECT_TRUE(manager_.receive_with("READY=1"));
    const Stream client(daemon_.socket());
    EXPECT_TRUE(daemon_.stop());
}

// ---- Journal ----

TEST_F(Managed, WhereTheJournalReadsStandardErrorLinesHaveTheirLevelAndNoTime) {
    if (access("/run/systemd/journal/socket", F_OK) == 0) {
        GTEST_SKIP() << "the lines would go to this machine's journal";
    }
    daemon_.write_file("log", "");
    struct stat log {};
    ASSERT_EQ(stat(daemon_.file("log").c_str(), &log), 0);
    use(manager_.name(), {{"JOURNAL_STREAM", std::to_string(log.st_dev) + ":" + std::to_string(log.st_ino)}});
    ASSERT_TRUE(daemon_.start());
    EXPECT_THAT(daemon_.log(), HasSubstr("<6>listening on " + daemon_.socket() + "\n"));
    EXPECT_TRUE(daemon_.stop());
    EXPECT_THAT(daemon_.log(), HasSubstr("\n<6>stopping: SIGTERM\n"));
    daemon_.write_configuration("[cluster\n");
    EXPECT_FALSE(daemon_.start());
    EXPECT_THAT(daemon_.log(), HasSubstr("\n<3>wispd: " + daemon_.configuration_file() + ":1:"));
}

// ---- Audit ----

TEST_F(Managed, EachActionLeavesALineWithProcessUserArgumentsAndOutcome) {
    ASSERT_TRUE(daemon_.start());
    const std::string user = ", uid " + std::to_string(geteuid()) + ") requested ";
    const auto wispctl = [&](const std::vector<std::string> &words) {
        std::vector<std::string> command{daemon_.programs().path("wispctl"), "--control", daemon_.control()};
        command.insert(command.end(), words.begin(), words.end());
        Child_Process process(command);
        const std::string by = "control (pid " + std::to_string(process.pid()) + user;
        process.wait();
        return by;
    };
    const std::string first = wispctl({"node-down", "3"});
    EXPECT_TRUE(daemon_.wait_logged(first + "node-down node=3: done\n"));
    const std::string second = wispctl({"node-down", "3"});
    EXPECT_TRUE(daemon_.wait_logged(second + "node-down node=3: rejected: node 3 is down already"));
    EXPECT_THAT(daemon_.tell("hello"), HasSubstr("expected one JSON object"));
    EXPECT_TRUE(daemon_.wait_logged("control (pid " + std::to_string(getpid()) + user +
                                    "an invalid command: rejected: expected one JSON object"));
    daemon_.tell(R"({"do":"reconfigure","config":"/absent.toml"})");
    EXPECT_TRUE(daemon_.wait_logged(user + "reconfigure config=/absent.toml: rejected: "));
    Child_Process hbctl({daemon_.programs().path("hbctl"), "--socket", daemon_.socket(), "disable", "2"});
    const std::string client = "(pid " + std::to_string(hbctl.pid()) + user;
    EXPECT_TRUE(daemon_.wait_logged(client + "disable adapter (network 0): adapter 2 is disabled\n"));
    hbctl.wait();
    wispctl({"state"});
    wispctl({"stop"});
    EXPECT_TRUE(daemon_.wait_stopped());
    EXPECT_THAT(daemon_.log(), HasSubstr(user + "stop: done\n"));
    EXPECT_THAT(daemon_.log(), Not(HasSubstr("requested state")));
}

// ---- Level and version ----

TEST_F(Managed, TheLogLevelChangesWhileWispdRuns) {
    ASSERT_TRUE(daemon_.start());
    const auto level = [&](const std::string &wanted) {
        return daemon_.tells(R"({"do":"log-level","level":")" + wanted + R"("})");
    };
    EXPECT_TRUE(level("error"));
    EXPECT_TRUE(daemon_.wait_logged("requested log-level level=error: done"));
    EXPECT_TRUE(daemon_.tells(R"({"do":"node-down","node":3})"));
    EXPECT_TRUE(level("debug"));
    EXPECT_TRUE(daemon_.wait_logged("requested log-level level=debug: done"));
    EXPECT_THAT(daemon_.tell(R"({"do":"state"})"), HasSubstr(R"("log_level":"debug")"));
    EXPECT_TRUE(daemon_.wait_logged("debug control (pid " + std::to_string(getpid())));
    EXPECT_THAT(daemon_.log(), Not(HasSubstr("nodes died: 3")));
    daemon_.send_signal(SIGHUP);
    EXPECT_TRUE(wait_until(
        [&] { return daemon_.tell(R"({"do":"state"})").find(R"("log_level":"info")") != std::string::npos; }));
    EXPECT_THAT(daemon_.tell(R"({"do":"log-level","level":"loud"})"), HasSubstr("is not a log level"));
    EXPECT_TRUE(daemon_.stop());
}

TEST_F(Managed, WispctlSetsTheLevelAndShowsVersionAndUptime) {
    ASSERT_TRUE(daemon_.start());
    const auto run = [&](const std::vector<std::string> &words) {
        std::vector<std::string> command{daemon_.programs().path("wispctl"), "--control", daemon_.control()};
        command.insert(command.end(), words.begin(), words.end());
        Child_Process process(command);
        const std::optional<Child_End> end = process.wait();
        return std::pair(end ? end->exit_status : -1, process.output());
    };
    EXPECT_EQ(run({"log-level", "warning"}).first, 0);
    EXPECT_EQ(run({"log-level", "loud"}).first, 2);
    EXPECT_EQ(run({"log-level"}).first, 2);
    const auto state = nlohmann::json::parse(run({"state"}).second);
    EXPECT_EQ(state.at("log_level"), "warning");
    Child_Process version({daemon_.programs().path("wispd"), "--version"});
    EXPECT_EQ(version.read_line(), "wispd " + state.at("version").get<std::string>());
    const double before = state.at("uptime_seconds");
    EXPECT_GE(before, 0);
    EXPECT_TRUE(wait_until([&] {
        return nlohmann::json::parse(run({"state"}).second).at("uptime_seconds").get<double>() > before;
    }));
    EXPECT_TRUE(daemon_.stop());
}

} // namespace
} // namespace hb_test
