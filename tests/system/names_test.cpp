// SPDX-License-Identifier: Apache-2.0
// The names of nodes, which reach programs by the file beside the socket.
#include <csignal>
#include <filesystem>
#include <sstream>

#include <gmock/gmock.h>

#include "common/cluster_file.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"
#include "tests/system/hbctl.h"

namespace hb_test {
namespace {

using common::read_cluster_file;
using testing::HasSubstr;

using Names = std::map<int, std::string>;

const Names SMALL_CLUSTER{{1, "alpha"}, {2, "beta"}, {3, "gamma"}, {4, "delta"}};

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

class NodeNames : public testing::TestWithParam<Setup> {
  protected:
    Names names() const {
        const auto file = read_cluster_file(daemon.socket());
        return file ? file->nodes : Names{{-1, "no file"}};
    }

    Daemon daemon{GetParam().daemon, small_cluster_file()};
};

TEST_P(NodeNames, AreInAFileWhileWispdRuns) {
    const auto before = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    ASSERT_TRUE(daemon.start());
    const auto file = read_cluster_file(daemon.socket());
    ASSERT_TRUE(file);
    EXPECT_EQ(file->nodes, SMALL_CLUSTER);
    EXPECT_EQ(file->engine, "none");
    EXPECT_EQ(file->version, HB_VERSION);
    EXPECT_GE(file->started, before);
    EXPECT_LE(file->started, std::chrono::system_clock::now());
    EXPECT_TRUE(daemon.stop()) << "the file is removed";
}

TEST_P(NodeNames, FollowMembersThatLeaveAndJoin) {
    ASSERT_TRUE(daemon.start());
    ASSERT_TRUE(daemon.tells(R"({"do":"node-leave","node":3})"));
    EXPECT_EQ(names(), (Names{{1, "alpha"}, {2, "beta"}, {4, "delta"}}));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-join","node":3})"));
    EXPECT_EQ(names(), SMALL_CLUSTER);
    EXPECT_TRUE(daemon.stop());
}

TEST_P(NodeNames, FollowAReloadThatChangesNothingElse) {
    ASSERT_TRUE(daemon.start());
    daemon.write_configuration(replaced(small_cluster_file(), "gamma", "gimel"));
    daemon.send_signal(SIGHUP);
    EXPECT_TRUE(wait_until([&] { return names().at(3) == "gimel"; }));
    EXPECT_TRUE(daemon.stop());
}

TEST_P(NodeNames, OfAKilledDaemonAreReplacedByTheNext) {
    ASSERT_TRUE(daemon.start());
    daemon.kill();
    EXPECT_EQ(names(), SMALL_CLUSTER);
    daemon.write_configuration(replaced(small_cluster_file(), "gamma", "gimel"));
    ASSERT_TRUE(daemon.start());
    EXPECT_EQ(names().at(3), "gimel");
    EXPECT_TRUE(daemon.stop());
}

TEST_P(NodeNames, ALinkInTheirPlaceStaysAndWispdServesWithoutNames) {
    daemon.write_file("precious", "precious");
    daemon.write_file("s.cluster", "");
    std::filesystem::remove(daemon.file("s.cluster"));
    std::filesystem::create_symlink("precious", daemon.file("s.cluster"));
    ASSERT_TRUE(daemon.start());
    EXPECT_THAT(daemon.log(), HasSubstr("cannot write " + daemon.file("s.cluster") + ": " +
                                        daemon.file("s.cluster") + " is a symbolic link; remove it"));
    EXPECT_TRUE(daemon.stop());
    EXPECT_EQ(std::filesystem::file_size(daemon.file("precious")), 8U);
}

SYSTEM_TESTS(NodeNames);

// hbctl of the last ABI, with a daemon of the first.
class HbctlNames : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }
    void TearDown() override { EXPECT_TRUE(daemon.stop()); }

    Hbctl_End hbctl(const std::vector<std::string> &words) const {
        return run_hbctl(GetParam().clients.back(), daemon, words);
    }
    static Hbctl_End failed(const std::string &line) { return {1, "", "hbctl: " + line + "\n"}; }
    // Runs the shell's command on a terminal of this width.
    std::string on_terminal(int width, const std::string &command) const {
        Child_Process process({"script", "-qec",
                               "stty cols " + std::to_string(width) + "; " +
                                   GetParam().clients.back().path("hbctl") + " --socket " + daemon.socket() +
                                   " " + command,
                               "/dev/null"},
                              {{"TERM", "xterm"}, {"NO_COLOR", colours ? "" : "1"}, {"COLUMNS", columns}});
        process.close_input();
        EXPECT_TRUE(process.wait());
        std::string output = process.output();
        std::erase(output, '\r');
        return output;
    }

    Daemon daemon{GetParam().daemon, small_cluster_file()};
    bool colours = false;
    std::string columns;
};

TEST_P(HbctlNames, AreShown) {
    EXPECT_EQ(hbctl({"nodes"}), said("NODE  NAME   LOCAL  STATE  ADAPTERS  ADDRESSES\n"
                                     "   1  alpha  yes    up     2, 3      10.1.0.1, 10.2.0.1\n"
                                     "   2  beta   -      up     4, 5      10.1.0.2, 10.2.0.2\n"
                                     "   3  gamma  -      up     6, 7      10.1.0.3, 2001:db8::3\n"
                                     "   4  delta  -      down   8         10.1.0.4"));
    EXPECT_EQ(hbctl({"adapters", "--columns", "name,local,state", "--no-headers"}),
              said("alpha/net_a  yes  up\nalpha/net_b  yes  up\nbeta/net_a   -    up\nbeta/net_b   -    up\n"
                   "gamma/net_a  -    up\ngamma/net_b  -    up\ndelta/net_a  -    down"));
    EXPECT_THAT(hbctl({"route", "2", "--shared"}).output,
                testing::StartsWith("route to node 2 (beta): 2 hops"));
    EXPECT_THAT(hbctl({"nodes", "--json"}).output, HasSubstr(R"("name":"gamma"})"));
    EXPECT_THAT(hbctl({"adapters", "--json"}).output, HasSubstr(R"("name":"gamma/net_b"})"));
}

TEST_P(HbctlNames, AreAcceptedInsteadOfNumbers) {
    EXPECT_THAT(hbctl({"route", "gamma"}).output, testing::StartsWith("route to node 3 (gamma): 2 hops"));
    EXPECT_EQ(hbctl({"wait", "node", "gamma", "--up"}), said("node gamma is up"));
    EXPECT_EQ(hbctl({"wait", "adapter", "delta/net_a", "--down", "--json"}),
              said(R"({"format":1,"adapter":8,"state":"down"})"));
    EXPECT_EQ(hbctl({"adapter-state", "alpha/net_b", "--columns", "STATE", "--no-headers"}), said("up"));
    EXPECT_EQ(hbctl({"grace", "alpha/net_a", "5"}), said("grace alpha/net_a 5: done"));
    EXPECT_EQ(hbctl({"multicast", "--port", "1", "--nodes", "1,beta", "x", "--json"}),
              said(R"({"format":1,"request":"multicast","port":1,"nodes":[1,2],"bytes":1,"result":"sent"})"));
    EXPECT_EQ(hbctl({"node-down", "gamma"}), said("node-down gamma: sent"));
    EXPECT_EQ(hbctl({"wait", "node", "gamma", "--down"}), said("node gamma is down"));
    const Hbctl_End events = hbctl({"subscribe", "--nodes", "beta,3", "--count", "1", "--json"});
    EXPECT_THAT(events.output, HasSubstr(R"("nodes":[2],)"));
    EXPECT_THAT(events.output, HasSubstr(R"("node_names":["beta"]})"));
}

TEST_P(HbctlNames, ThatAreUnknownAreRejectedWithTheNamesThatExist) {
    const std::string nodes = " is not configured (nodes: alpha, beta, gamma, delta)";
    EXPECT_EQ(hbctl({"route", "omega"}), failed("node omega" + nodes));
    EXPECT_EQ(hbctl({"wait", "node", "omega", "--up"}), failed("node omega" + nodes));
    EXPECT_EQ(hbctl({"subscribe", "--nodes", "1,omega"}), failed("node omega" + nodes));
    EXPECT_EQ(hbctl({"multicast", "--port", "1", "--nodes", "omega", "x"}), failed("node omega" + nodes));
    EXPECT_EQ(hbctl({"multicast", "--port", "1", "--nodes", "2,77", "x"}),
              failed("node 77 is not configured (nodes: 1-4)"));
    EXPECT_EQ(
        hbctl({"adapter-down", "gamma"}),
        failed("adapter gamma is not configured (adapters: alpha/net_a, alpha/net_b, beta/net_a, beta/net_b, "
               "gamma/net_a, gamma/net_b, delta/net_a)"));
    EXPECT_EQ(hbctl({"grace", "beta/net_a", "5"}),
              failed("adapter 4 is not an adapter of this node (adapters of node 1: 2, 3)"));
    EXPECT_EQ(hbctl({"route", "77"}), failed("node 77 is not configured (nodes: 1-4)"));
}

TEST_P(HbctlNames, AreNotNeeded) {
    std::filesystem::remove(daemon.file("s.cluster"));
    EXPECT_EQ(hbctl({"nodes", "--columns", "NODE,NAME,STATE", "--no-headers"}),
              said("1  -  up\n2  -  up\n3  -  up\n4  -  down"));
    EXPECT_EQ(hbctl({"wait", "node", "3", "--up"}), said("node 3 is up"));
    EXPECT_EQ(hbctl({"wait", "node", "gamma", "--up"}),
              failed("no names are known: cannot read " + daemon.file("s.cluster") +
                     ", which wispd writes; use the number of the node instead of gamma"));
}

TEST_P(HbctlNames, CannotSteerATerminal) {
    daemon.write_file("s.cluster",
                      R"({"format":1,"cluster":"c\u001b[2J","version":"1","started":1,"engine":"none",)"
                      R"("nodes":{"1":"al\u001b[2Jpha"}})");
    EXPECT_THAT(hbctl({"nodes", "--columns", "NAME", "--no-headers"}).output,
                testing::StartsWith("al\\x1B[2Jpha\n-\n"));
    for (const std::vector<std::string> &words : {std::vector<std::string>{"status"},
                                                  {"route", "1"},
                                                  {"route", "omega"},
                                                  {"adapters"},
                                                  {"adapters", "--json"},
                                                  {"wait", "node", "al\x1b[2Jpha", "--up"},
                                                  {"watch", "--count", "2", "--short"}}) {
        const Hbctl_End end = hbctl(words);
        EXPECT_EQ((end.output + end.errors).find('\x1b'), std::string::npos) << words.front();
    }
}

TEST_P(HbctlNames, StatusShowsTheDaemon) {
    const std::string known = hbctl({"status"}).output;
    EXPECT_THAT(known, HasSubstr("cluster     small\nversion     " HB_VERSION "\nuptime      "));
    EXPECT_THAT(known, HasSubstr("\nengine      none, a file describes the cluster\nlocal node  1 (alpha)\n"));
    EXPECT_THAT(hbctl({"status", "--json"}).output, HasSubstr(R"("version":")" HB_VERSION R"(","started":"2)"));
    std::filesystem::remove(daemon.file("s.cluster"));
    EXPECT_THAT(hbctl({"status"}).output,
                HasSubstr("cluster     unknown\nversion     unknown\nuptime      unknown\nengine      unknown\n"
                          "local node  1\n"));
}

TEST_P(HbctlNames, TablesFitIntoTheTerminal) {
    EXPECT_EQ(on_terminal(46, "nodes"), "NODE  NAME   LOCAL  STATE  ADAPTERS  ADDRESSES\n"
                                        "   1  alpha  yes    up     2, 3      10.1.0...\n"
                                        "   2  beta   -      up     4, 5      10.1.0...\n"
                                        "   3  gamma  -      up     6, 7      10.1.0...\n"
                                        "   4  delta  -      down   8         10.1.0.4\n");
    columns = "16";
    EXPECT_EQ(on_terminal(200, "nodes --no-headers"), "1  alpha  yes\n2  beta   -\n3  gamma  -\n4  delta  -\n");
    EXPECT_EQ(hbctl({"nodes"}).output.find("..."), std::string::npos) << "it is no terminal";
}

TEST_P(HbctlNames, StatesHaveColoursOnATerminalOnly) {
    colours = true;
    EXPECT_EQ(on_terminal(80, "nodes --no-headers --columns NAME,STATE"),
              "alpha  \x1b[32mup\x1b[0m\nbeta   \x1b[32mup\x1b[0m\ngamma  \x1b[32mup\x1b[0m\n"
              "delta  \x1b[31mdown\x1b[0m\n");
    colours = false;
    EXPECT_EQ(on_terminal(80, "nodes --no-headers --columns NAME,STATE").find('\x1b'), std::string::npos);
    EXPECT_EQ(hbctl({"nodes"}).output.find('\x1b'), std::string::npos);
}

TEST_P(HbctlNames, LinesOfWatchCanBeShortAndHaveTheDate) {
    const Hbctl_End lines = hbctl({"watch", "--short", "--count", "2"});
    for (const std::string &line : lines_of(lines.output)) {
        EXPECT_LE(line.size(), 80U) << line;
    }
    EXPECT_EQ(lines_of(lines.output).size(), 4U);
    EXPECT_THAT(
        hbctl({"watch", "--count", "1"}).output,
        testing::ContainsRegex("^watching [^ ]+ since 2[0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]: 4 nodes"));
    EXPECT_THAT(hbctl({"watch", "--count", "1", "--date"}).output,
                testing::ContainsRegex(
                    "\n     1  2[0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9] [0-9:]+[.][0-9]+  node group "));
}

SYSTEM_TESTS(HbctlNames);

} // namespace
} // namespace hb_test
