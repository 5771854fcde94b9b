// SPDX-License-Identifier: Apache-2.0
// The program cluster_hosts, as a script uses it.
#include <csignal>
#include <sstream>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/cluster/cluster_test.h"
#include "tests/cluster/namespace_sweep.h"
#include "tests/support/deadline.h"

namespace hb_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class ClusterHostsTest : public ClusterTest {};

const std::string PROGRAM = HB_TEST_BIN_DIR "/cluster_hosts";

// Reads the lines up to "ready". Returns the words that enter each host.
std::vector<std::vector<std::string>> wait_ready(Child_Process &program) {
    std::vector<std::vector<std::string>> entries;
    for (;;) {
        const std::optional<std::string> line = program.read_line();
        if (!line || *line == "ready") {
            EXPECT_TRUE(line) << program.error_output();
            return entries;
        }
        std::istringstream stream(*line);
        std::string word;
        std::string number;
        stream >> word >> number;
        EXPECT_EQ(word, "host") << *line;
        EXPECT_EQ(number, std::to_string(entries.size() + 1));
        entries.emplace_back();
        while (stream >> word) {
            entries.back().push_back(word);
        }
    }
}

std::string ask(Child_Process &program, const std::string &line) {
    program.write_input(line + "\n");
    std::string answer;
    for (;;) {
        const std::optional<std::string> next = program.read_line();
        if (!next) {
            return answer + "the program has ended";
        }
        answer += *next;
        if (next->starts_with("ok ") || next->starts_with("error: ")) {
            return answer;
        }
        answer += "\n";
    }
}

const char *const OK = "ok [0-9]+\\.[0-9]{6}";

std::set<std::string> namespaces_entered(const std::vector<std::vector<std::string>> &entries) {
    std::set<std::string> namespaces;
    for (const std::vector<std::string> &words : entries) {
        namespaces.insert(
            network_namespace(static_cast<pid_t>(std::stol(words.at(2))))); // nsenter --target PID
    }
    return namespaces;
}

TEST_F(ClusterHostsTest, ObeysLinesAndTakesAllDownAtTheEndOfItsInput) {
    Child_Process program({PROGRAM, "--hosts", "3", "--links", "2"});
    const auto entries = wait_ready(program);
    ASSERT_EQ(entries.size(), 3U);
    const std::set<std::string> namespaces = namespaces_entered(entries);
    EXPECT_EQ(namespaces.size(), 3U);

    std::vector<std::string> words = entries[1];
    words.push_back("hostname");
    Child_Process inside(words);
    EXPECT_EQ(inside.read_line(), "host2");

    EXPECT_THAT(ask(program, "run 3 hostname"), MatchesRegex(std::string("host3\n") + OK));
    EXPECT_THAT(ask(program, "cut 2 1"), MatchesRegex(OK));
    EXPECT_THAT(ask(program, "run 2 ip -o link show link1"), HasSubstr("NO-CARRIER"));
    EXPECT_THAT(ask(program, "run 2 ip -o link show link0"), Not(HasSubstr("NO-CARRIER")));
    EXPECT_THAT(ask(program, "restore 2"), MatchesRegex(OK));
    EXPECT_THAT(ask(program, "run 2 ip -o link show link1"), Not(HasSubstr("NO-CARRIER")));
    EXPECT_THAT(ask(program, "kill 3"), MatchesRegex(OK));
    EXPECT_THAT(ask(program, "wait"), MatchesRegex(OK));
    EXPECT_THAT(ask(program, "status"),
                AllOf(HasSubstr("host1: quorate, members 1 2, ring "), HasSubstr("host3: no answer")));
    EXPECT_THAT(ask(program, "kill 2"), MatchesRegex(OK));
    EXPECT_THAT(ask(program, "wait 0"),
                MatchesRegex("error: the engines do not agree: host1: .*; host2: no answer; "
                             "host3: no answer"));
    EXPECT_THAT(ask(program, "start 2"), MatchesRegex(OK));
    EXPECT_THAT(ask(program, "start 3"), MatchesRegex(OK));
    EXPECT_THAT(ask(program, "wait 60"), MatchesRegex(OK));
    EXPECT_THAT(ask(program, "restart 1"), MatchesRegex(OK));
    EXPECT_THAT(ask(program, "wait"), MatchesRegex(OK));
    // The engine keeps the outcome of a reload in its map. Its log line of a reload can be lost: the engine
    // opens its log again meanwhile.
    const std::string outcome = "run 1 corosync-cmapctl -g config.reload_status";
    EXPECT_THAT(ask(program, outcome), StartsWith("error: "));
    EXPECT_THAT(ask(program, "reload 1"), MatchesRegex(OK));
    EXPECT_TRUE(wait_until([&] { return ask(program, outcome).starts_with("config.reload_status"); }));
    EXPECT_THAT(ask(program, "log 1"), HasSubstr("Corosync Cluster Engine"));

    program.close_input();
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 0) << program.error_output();
    EXPECT_THAT(processes_in(namespaces), testing::IsEmpty());
}

TEST_F(ClusterHostsTest, RefusesWhatItCannotDoAndGoesOn) {
    Child_Process program({PROGRAM, "--hosts", "1", "--links", "1", "--no-engines"});
    wait_ready(program);
    EXPECT_EQ(ask(program, "burn 1"), "error: \"burn 1\" is no command; \"help\" tells which there are");
    EXPECT_EQ(ask(program, ""), "error: \"\" is no command; \"help\" tells which there are");
    EXPECT_EQ(ask(program, "cut"), "error: \"cut\" has too many or too few words; \"help\" tells more");
    EXPECT_EQ(ask(program, "cut one"), "error: \"one\" is no number");
    EXPECT_EQ(ask(program, "cut 2 0"), "error: there is no host 2, only 1 to 1");
    EXPECT_EQ(ask(program, "cut 1 1"), "error: there is no network 1, only 0 to 0");
    EXPECT_EQ(ask(program, "kill 1"), "error: the engine of host1 does not run");
    EXPECT_THAT(ask(program, "run 1 false"), StartsWith("error: false ended with 1"));
    EXPECT_THAT(ask(program, "help"), MatchesRegex("start HOST (.|\n)*ok [0-9.]+"));
}

TEST_F(ClusterHostsTest, ASignalTakesAllDownAsTheEndOfInputDoes) {
    Child_Process program({PROGRAM, "--hosts", "2", "--links", "1"});
    const std::set<std::string> namespaces = namespaces_entered(wait_ready(program));
    ASSERT_THAT(processes_in(namespaces), testing::SizeIs(4)); // a holder and an engine for each host
    program.send_signal(SIGTERM);
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 0);
    EXPECT_THAT(processes_in(namespaces), testing::IsEmpty());
}

// Signals it as Ctrl-C in a terminal does.
TEST_F(ClusterHostsTest, ASignalToItAndItsHoldersTogetherEndsAlsoWhatSomebodyElseRunsInAHost) {
    Child_Process program({"setsid", PROGRAM, "--hosts", "2", "--links", "1", "--no-engines"});
    const auto entries = wait_ready(program);
    ASSERT_EQ(entries.size(), 2U);
    const std::set<std::string> namespaces = namespaces_entered(entries);
    std::vector<std::string> words = entries[1];
    words.insert(words.end(), {"sh", "-c", "echo inside; exec cat"});
    Child_Process inside(words);
    ASSERT_EQ(inside.read_line(), "inside");
    ASSERT_THAT(processes_in(namespaces), testing::SizeIs(3));
    ASSERT_GT(program.pid(), 1);
    ASSERT_EQ(getpgid(program.pid()), program.pid());
    ASSERT_EQ(kill(-program.pid(), SIGTERM), 0);
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 0);
    EXPECT_THAT(processes_in(namespaces), testing::IsEmpty());
}

TEST_F(ClusterHostsTest, HoldersAndEnginesDieWithTheirStarterWhenItIsKilled) {
    Child_Process program({PROGRAM, "--hosts", "2", "--links", "1"});
    const std::set<std::string> namespaces = namespaces_entered(wait_ready(program));
    ASSERT_THAT(processes_in(namespaces), testing::SizeIs(4));
    program.send_signal(SIGKILL);
    ASSERT_TRUE(program.wait());
    EXPECT_TRUE(wait_until([&] { return processes_in(namespaces).empty(); }));
}

TEST(ClusterHosts, SaysWhatIsWrongWithItsOptions) {
    Child_Process program({PROGRAM, "--links", "9"});
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 2);
    EXPECT_THAT(program.error_output(), HasSubstr("--links"));
}

TEST_F(ClusterHostsTest, SaysWhyAndEndsWithThreeWhereItIsNotPermitted) {
    Child_Process program({"setpriv", "--bounding-set", "-all", "--inh-caps", "-all", PROGRAM, "--can"});
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 3);
    EXPECT_THAT(program.error_output(),
                StartsWith("cluster_hosts: no cluster on this machine: the switch cannot be held in "
                           "namespaces: unshare: unshare failed: Operation not permitted"));
}

} // namespace
} // namespace hb_test
