// SPDX-License-Identifier: Apache-2.0
// Daemons that accept a connection and do not answer: every command ends in its time, and one signal ends it at once.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fake_daemon.h"
#include "tests/support/temp_dir.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

// Each verb of hbctl that asks the daemon, except those that continue: watch and subscribe.
const std::vector<Words> HBCTL_VERBS{{"status"},
                                     {"nodes"},
                                     {"networks"},
                                     {"adapters"},
                                     {"sites"},
                                     {"top", "--once"},
                                     {"migrate", "--check"},
                                     {"route", "2"},
                                     {"route", "beta", "--shared"},
                                     {"keys"},
                                     {"adapter-state"},
                                     {"adapter-state", "alpha/net_a"},
                                     {"multicast", "--port", "1", "--nodes", "2", "hello"},
                                     {"node-down", "2"},
                                     {"node-down", "beta"},
                                     {"node-may-be-down", "2"},
                                     {"adapter-down", "4"},
                                     {"adapter-may-be-down", "4"},
                                     {"enable", "2"},
                                     {"disable", "2"},
                                     {"ifconfig-up", "2"},
                                     {"ifconfig-down", "2"},
                                     {"configure", "2", "10.1.0.9"},
                                     {"unconfigure", "2"},
                                     {"swap", "2", "10.2.0.1"},
                                     {"grace", "2", "5"},
                                     {"simulate-death", "5"},
                                     {"discard-stale", "on"},
                                     {"manual-control", "on"},
                                     {"client-heartbeat", "3"},
                                     {"shutdown"}};

const std::vector<Words> WATCHING_VERBS{{"watch"},
                                        {"watch", "--json"},
                                        {"watch", "--wait"},
                                        {"watch", "--exec", "cat"},
                                        {"subscribe", "--all-nodes"}};

// A name becomes a number first, and for that wispctl reads the state.
const std::vector<Words> WISPCTL_READING_VERBS{{"state"}, {"node-down", "beta"}, {"adapter-up", "beta/net_a"}};

const std::vector<Words> WISPCTL_VERBS{{"stop"},
                                       {"node-up", "2"},
                                       {"node-down", "2"},
                                       {"node-join", "2"},
                                       {"node-leave", "2"},
                                       {"adapter-up", "4"},
                                       {"adapter-down", "4"},
                                       {"adapter-leave", "4"},
                                       {"adapter-join", "4"},
                                       {"reconfigure"},
                                       {"heartbeat", "2.5"},
                                       {"ffdc"},
                                       {"foreign-instance", "10.9.0.1", "7"},
                                       {"node-may-be-down", "2"},
                                       {"adapter-may-be-down", "4"},
                                       {"swap-adapters", "2", "10.2.0.1"},
                                       {"rotate-key"},
                                       {"play"}};

struct Running {
    std::string name;
    std::unique_ptr<Child_Process> process;
};

Running start(const std::string &program, const Words &words) {
    Words line{programs_of_this_build().path(program)};
    line.insert(line.end(), words.begin(), words.end());
    Running running{program, std::make_unique<Child_Process>(line)};
    for (const std::string &word : words) {
        running.name += " " + word;
    }
    running.process->close_input();
    return running;
}

// Starts each of the verbs, with the options in front of them.
std::vector<Running> start_all(const std::string &program, const Words &options,
                               const std::vector<Words> &verbs) {
    std::vector<Running> all;
    for (const Words &verb : verbs) {
        Words words = options;
        words.insert(words.end(), verb.begin(), verb.end());
        all.push_back(start(program, words));
    }
    return all;
}

void expect_end(Running &running, int status, const std::string &error) {
    const std::optional<Child_End> end = running.process->wait();
    ASSERT_TRUE(end) << running.name << " does not end";
    EXPECT_EQ(end->signal, 0) << running.name;
    EXPECT_EQ(end->exit_status, status) << running.name << ": " << running.process->error_output();
    EXPECT_EQ(running.process->error_output(), error) << running.name;
    EXPECT_EQ(running.process->output(), "") << running.name;
}

std::string no_answer(const std::string &program, const std::string &path, const std::string &time) {
    return program + ": wispd does not answer at " + path + " (waited " + time +
           "); check it with 'systemctl status wispd', or wait longer with --timeout SECONDS\n";
}

// What the commands do with a daemon at this socket, and with a control socket.
void expect_ends_in_time(const std::string &socket) {
    for (Running &running : start_all("hbctl", {"--socket", socket, "--timeout", "0.5"}, HBCTL_VERBS)) {
        expect_end(running, 1, no_answer("hbctl", socket, "0.5 s"));
    }
    for (Running &running : start_all("hbctl", {"--socket", socket, "--timeout", "0.5"}, WATCHING_VERBS)) {
        expect_end(running, 1, no_answer("hbctl", socket, "0.5 s"));
    }
    Running waiting = start("hbctl", {"--socket", socket, "wait", "node", "2", "--up", "--timeout", "0.5"});
    expect_end(waiting, 3, "hbctl: node 2 is not up after 0.5 s: wispd does not answer at " + socket + "\n");
    Running check = start("hbctl", {"--socket", socket, "check", "--timeout", "0.5"});
    const std::optional<Child_End> end = check.process->wait();
    EXPECT_TRUE(end && end->exit_status == 2) << check.process->error_output();
    EXPECT_THAT(check.process->output(), HasSubstr("CLUSTER CRITICAL - wispd does not answer at " + socket));
    // A report is made without the daemon's answer.
    const Temp_Dir directory;
    const std::string archive = directory.file("report.tar.gz");
    Running report = start("hbctl", {"--socket", socket, "report", "--timeout", "0.5", "--output", archive});
    const std::optional<Child_End> report_end = report.process->wait();
    EXPECT_TRUE(report_end && report_end->exit_status == 0) << report.process->error_output();
    EXPECT_TRUE(std::filesystem::exists(archive));
}

void expect_wispctl_ends_in_time(const std::string &control) {
    const std::string warning = "; it can still carry out the command when it continues";
    const Words options{"--control", control, "--timeout", "0.5"};
    const std::string silent = no_answer("wispctl", control, "0.5 s");
    for (Running &running : start_all("wispctl", options, WISPCTL_READING_VERBS)) {
        expect_end(running, 1, silent);
    }
    for (Running &running : start_all("wispctl", options, WISPCTL_VERBS)) {
        expect_end(running, 1, silent.substr(0, silent.size() - 1) + warning + "\n");
    }
}

// The process has made its connection, or is about to wait for it. Only root can read this of a program that protects
// its memory.
bool has_socket(const Running &running) {
    std::error_code error;
    const std::string folder = "/proc/" + std::to_string(running.process->pid()) + "/fd";
    for (const auto &entry : std::filesystem::directory_iterator(folder, error)) {
        std::error_code unreadable;
        if (std::filesystem::read_symlink(entry.path(), unreadable).string().starts_with("socket:")) {
            return true;
        }
    }
    return false;
}

// One signal ends the command. `status` is what watch exits with; the others are ended by the signal itself.
void expect_end_by(int signal, Running running, std::optional<int> status) {
    ASSERT_TRUE(wait_until([&] { return has_socket(running); })) << running.name;
    running.process->send_signal(signal);
    const std::optional<Child_End> end = running.process->wait();
    ASSERT_TRUE(end) << running.name << " ignores signal " << signal;
    EXPECT_EQ(end->signal, status ? 0 : signal) << running.name;
    if (status) {
        EXPECT_EQ(end->exit_status, *status) << running.name;
    }
}

class StoppedDaemon : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(daemon.start());
        daemon.send_signal(SIGSTOP);
    }
    void TearDown() override {
        daemon.send_signal(SIGCONT);
        EXPECT_TRUE(daemon.stop());
    }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
};

TEST_F(StoppedDaemon, EachCommandEndsInItsTime) {
    expect_ends_in_time(daemon.socket());
    expect_wispctl_ends_in_time(daemon.control());
}

TEST_F(StoppedDaemon, CarriesOutTheCommandOfAWispctlThatGaveUp) {
    Running silent = start("wispctl", {"--control", daemon.control(), "--timeout", "0.5", "node-down", "3"});
    const std::optional<Child_End> end = silent.process->wait();
    EXPECT_TRUE(end && end->exit_status == 1);
    daemon.send_signal(SIGCONT);
    Running waiting = start("hbctl", {"--socket", daemon.socket(), "wait", "node", "3", "--down"});
    const std::optional<Child_End> waited = waiting.process->wait();
    EXPECT_TRUE(waited && waited->exit_status == 0) << waiting.process->error_output();
}

TEST_F(StoppedDaemon, WithoutATimeoutOpeningIsLimitedToTenSeconds) {
    const auto begin = std::chrono::steady_clock::now();
    Running watch = start("hbctl", {"--socket", daemon.socket(), "watch"});
    Running status = start("hbctl", {"--socket", daemon.socket(), "status"});
    Running state = start("wispctl", {"--control", daemon.control(), "state"});
    expect_end(watch, 1, no_answer("hbctl", daemon.socket(), "10 s"));
    expect_end(status, 1, no_answer("hbctl", daemon.socket(), "10 s"));
    expect_end(state, 1, no_answer("wispctl", daemon.control(), "10 s"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(StoppedDaemon, OneSignalEndsEachCommandWhileItOpens) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can see when hbctl has begun to open";
    }
    for (const int signal : {SIGINT, SIGTERM}) {
        for (const Words &words : WATCHING_VERBS) {
            Words line{"--socket", daemon.socket()};
            line.insert(line.end(), words.begin(), words.end());
            expect_end_by(signal, start("hbctl", line), 0);
        }
        for (const Words &words : {Words{"status"}, Words{"top", "--once"}, Words{"node-down", "2"},
                                   Words{"wait", "node", "2", "--up"}, Words{"check"}}) {
            Words line{"--socket", daemon.socket()};
            line.insert(line.end(), words.begin(), words.end());
            expect_end_by(signal, start("hbctl", line), std::nullopt);
        }
        expect_end_by(signal, start("wispctl", {"--control", daemon.control(), "state"}), std::nullopt);
    }
}

// A plan for a daemon with one script for each of its connections.
Fake_Daemon_Plan plan_of(const Script &script) {
    Fake_Daemon_Plan plan;
    plan.connections = {script};
    plan.set_environment = false;
    return plan;
}

TEST(SilentDaemon, ThatAcceptsAndNeverAnswersEndsEachCommandInItsTime) {
    const Fake_Daemon fake(plan_of({}));
    expect_ends_in_time(fake.path());
    expect_wispctl_ends_in_time(fake.path());
}

TEST(SilentDaemon, ThatAnswersHalfARecordEndsEachCommandInItsTime) {
    const Bytes whole = frame(reply(0, snapshot(small_cluster())));
    const Fake_Daemon fake(plan_of({read_record(), send_raw(whole.part(0, whole.size() / 2))}));
    expect_ends_in_time(fake.path());
    const Fake_Daemon control(plan_of({send_raw(Bytes().raw("{\"ok\":"))}));
    expect_wispctl_ends_in_time(control.path());
}

// Half an event is a call of the library that does not return.
TEST(SilentDaemon, ThatSendsHalfAnEventHoldsWatchNeitherBeyondItsTimeNorAgainstASignal) {
    const Bytes event = frame(reply(0, snapshot(small_cluster())));
    Script script = serve_configuration(snapshot(small_cluster()));
    script.push_back(read_record());
    script.push_back(send_raw(event.part(0, event.size() / 2)));
    script.push_back(wait_taken());
    Fake_Daemon fake(plan_of(script));
    Running limited = start("hbctl", {"--socket", fake.path(), "--json", "watch", "--timeout", "1"});
    expect_end(limited, 0, "");
    ASSERT_TRUE(fake.wait_connections_ended(1));
    Running stopped = start("hbctl", {"--socket", fake.path(), "--json", "watch"});
    ASSERT_TRUE(fake.wait_connections(2));
    ASSERT_TRUE(fake.wait_steps_done());
    stopped.process->send_signal(SIGTERM);
    expect_end(stopped, 0, "");
}

// ---- A daemon that comes, goes and comes back ----

class ReturningDaemon : public testing::Test {
  protected:
    Running watch(const Words &options) {
        Words line{"--socket", daemon.socket(), "--json"};
        line.insert(line.end(), options.begin(), options.end());
        return start("hbctl", line);
    }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
};

TEST_F(ReturningDaemon, WatchCanStartBeforeIt) {
    for (const Words &verb : {Words{"watch", "--wait"}, Words{"subscribe", "--all-nodes", "--wait"}}) {
        Running running = watch(verb);
        ASSERT_TRUE(wait_until([&] { // it has tried, and found none
            running.process->read_line(Deadline(std::chrono::milliseconds(1)));
            return running.process->error_output().find("; waiting for it") != std::string::npos;
        }));
        ASSERT_TRUE(daemon.start());
        EXPECT_TRUE(running.process->read_until("new-group"));
        running.process->send_signal(SIGTERM);
        const std::optional<Child_End> end = running.process->wait();
        EXPECT_TRUE(end && end->signal == 0 && end->exit_status == 0);
        ASSERT_TRUE(daemon.stop());
    }
}

TEST_F(ReturningDaemon, WaitingForItEndsWithTheTimeAndBySignal) {
    Running limited = watch({"watch", "--wait", "--timeout", "0.5"});
    const std::optional<Child_End> end = limited.process->wait();
    EXPECT_TRUE(end && end->exit_status == 1);
    EXPECT_THAT(limited.process->error_output(),
                HasSubstr("no heartbeat daemon listens at " + daemon.socket()));
    Running stopped = watch({"watch", "--wait"});
    ASSERT_TRUE(wait_until([&] {
        stopped.process->read_line(Deadline(std::chrono::milliseconds(1)));
        return stopped.process->error_output().find("; waiting for it") != std::string::npos;
    }));
    stopped.process->send_signal(SIGINT);
    EXPECT_TRUE(stopped.process->wait());
}

TEST_F(ReturningDaemon, WaitingDoesNotHideAMistake) {
    ASSERT_TRUE(daemon.start());
    Running running = watch({"subscribe", "--nodes", "7", "--wait"});
    expect_end(running, 1, "hbctl: node 7 is not configured (nodes: 1-4)\n");
    EXPECT_TRUE(daemon.stop());
}

// The new daemon is stopped before it answers. Watch waits, and the signal still ends it.
TEST_F(ReturningDaemon, WatchSurvivesADaemonThatIsStoppedMeanwhile) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can see when hbctl has begun to open";
    }
    ASSERT_TRUE(daemon.start());
    Running running = watch({"watch"});
    ASSERT_TRUE(running.process->read_until("\"subscription\":\"hbctl-adapters\""));
    daemon.send_signal(SIGSTOP);
    daemon.kill();
    ASSERT_TRUE(running.process->read_until("disconnected"));
    ASSERT_TRUE(daemon.start());
    ASSERT_TRUE(running.process->read_until("reconnected"));
    ASSERT_TRUE(running.process->read_until("\"subscription\":\"hbctl-adapters\""));
    daemon.kill();
    ASSERT_TRUE(running.process->read_until("disconnected"));
    ASSERT_TRUE(daemon.start());
    daemon.send_signal(SIGSTOP);
    ASSERT_TRUE(wait_until([&] { return has_socket(running); }));
    daemon.send_signal(SIGCONT);
    ASSERT_TRUE(running.process->read_until("reconnected"));
    daemon.send_signal(SIGSTOP);
    running.process->send_signal(SIGTERM);
    const std::optional<Child_End> end = running.process->wait();
    EXPECT_TRUE(end && end->signal == 0 && end->exit_status == 0);
    daemon.send_signal(SIGCONT);
    EXPECT_TRUE(daemon.stop());
}

} // namespace
} // namespace hb_test
