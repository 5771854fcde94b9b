// SPDX-License-Identifier: Apache-2.0
// ./demo cluster, as its user sees it.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "tests/cluster/cluster_test.h"
#include "tests/cluster/namespace_sweep.h"
#include "tests/support/temp_dir.h"

namespace hb_test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const std::string PROGRAM = HB_TEST_BIN_DIR "/demo_cluster";
const std::string DEMO = HB_TEST_SOURCE_DIR "/demo";
const std::string CONFIGURATION = HB_TEST_SOURCE_DIR "/examples/demo/corosync.toml";

std::vector<std::string> demo(const std::string &configuration = CONFIGURATION) {
    return {PROGRAM, "--programs", HB_TEST_BIN_DIR, "--config", configuration};
}

class DemoClusterTest : public ClusterTest {
  protected:
    void SetUp() override {
        if (!HB_TEST_WITH_COROSYNC) {
            GTEST_SKIP() << "this build's wispd follows no Corosync; scripts/setup installs what is needed";
        }
        ClusterTest::SetUp();
    }
};

// ---- Its output ----

struct Section {
    std::string headline;
    std::vector<std::string> lines;
};

std::vector<Section> sections_of(const std::string &output) {
    std::vector<Section> sections(1); // the lines before the first headline
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("== ")) {
            sections.push_back({line.substr(3, line.find(" =", 3) - 3), {}});
        } else {
            sections.back().lines.push_back(line);
        }
    }
    return sections;
}

const Section &section(const std::vector<Section> &sections, const std::string &headline) {
    const auto found = std::find_if(sections.begin(), sections.end(),
                                    [&](const Section &one) { return one.headline == headline; });
    if (found == sections.end()) {
        throw std::runtime_error("there is no headline \"" + headline + "\"");
    }
    return *found;
}

// The text in the host's column, which is 30 wide and follows the times.
std::vector<std::string> told(const Section &section, std::size_t host) {
    std::vector<std::string> cells;
    for (const std::string &line : section.lines) {
        const std::size_t start = 10 + 30 * (host - 1);
        std::string cell = line.size() > start ? line.substr(start, 30) : "";
        cell.erase(cell.find_last_not_of(' ') + 1);
        if (!cell.empty()) {
            cells.push_back(cell);
        }
    }
    return cells;
}

void expect_told(const std::vector<Section> &sections, const std::string &headline,
                 const std::vector<std::vector<std::string>> &by_host) {
    for (std::size_t host = 1; host <= by_host.size(); ++host) {
        EXPECT_THAT(told(section(sections, headline), host), IsSupersetOf(by_host[host - 1]))
            << headline << ", host" << host;
    }
}

void expect_four_faults(const std::vector<Section> &sections) {
    expect_told(sections, "The cable between host2 and link1 is cut",
                {{"adapter 97 of node 2 died"},
                 {"adapter 97 of node 2 died", "adapter 49 of node 1 died", "adapter 145 of node 3 died"},
                 {"adapter 97 of node 2 died"}});
    expect_told(sections, "The cable is repaired",
                {{"adapter 97 of node 2 joined"},
                 {"adapter 97 of node 2 joined", "adapter 49 of node 1 joined", "adapter 145 of node 3 joined"},
                 {"adapter 97 of node 2 joined"}});
    expect_told(sections, "The engine of host3 is killed with SIGKILL",
                {{"adapter 144 of node 3 died", "adapter 145 of node 3 died", "node 3 died"},
                 {"adapter 144 of node 3 died", "adapter 145 of node 3 died", "node 3 died"},
                 {"adapter 48 of node 1 died", "adapter 49 of node 1 died", "adapter 96 of node 2 died",
                  "adapter 97 of node 2 died", "node 1 died", "node 2 died"}});
    expect_told(sections, "The engine of host3 starts again",
                {{"adapter 144 of node 3 joined", "adapter 145 of node 3 joined", "node 3 joined"},
                 {"adapter 144 of node 3 joined", "adapter 145 of node 3 joined", "node 3 joined"},
                 {"adapter 48 of node 1 joined", "adapter 49 of node 1 joined", "adapter 96 of node 2 joined",
                  "adapter 97 of node 2 joined", "node 1 joined", "node 2 joined"}});
}

void expect_six_rows_of_times(const std::vector<Section> &sections) {
    const Section &times = section(sections, "Time from the fault until each client had received all of it");
    const std::string three_times = "( +[0-9]+\\.[0-9]{3} s){3}";
    ASSERT_GE(times.lines.size(), 7U);
    EXPECT_THAT(times.lines[1], MatchesRegex("link1 of host2 cut +adapters died" + three_times));
    EXPECT_THAT(times.lines[2], MatchesRegex("link1 of host2 repaired +adapters joined" + three_times));
    EXPECT_THAT(times.lines[3], MatchesRegex("engine of host3 killed +adapters died" + three_times));
    EXPECT_THAT(times.lines[4], MatchesRegex(" +nodes died" + three_times));
    EXPECT_THAT(times.lines[5], MatchesRegex("engine of host3 started +adapters joined" + three_times));
    EXPECT_THAT(times.lines[6], MatchesRegex(" +nodes joined" + three_times));
}

std::string read_on_until(Child_Process &process, const std::string &text) {
    std::string lines;
    while (const std::optional<std::string> line = process.read_line()) {
        lines += *line + "\n";
        if (line->find(text) != std::string::npos) {
            return lines;
        }
    }
    ADD_FAILURE() << "\"" << text << "\" was not printed, but:\n" << lines << process.error_output();
    return lines;
}

// ---- Its leftovers ----

// The network namespaces of its children, except this process's own.
std::set<std::string> networks_below(pid_t parent) {
    std::set<std::string> networks;
    const std::string thread = std::to_string(parent);
    std::ifstream children("/proc/" + thread + "/task/" + thread + "/children");
    for (pid_t child = 0; children >> child;) {
        networks.insert(network_namespace(child));
    }
    networks.erase("");
    networks.erase(network_namespace(parent));
    return networks;
}

std::vector<std::string> files_in(const std::string &directory) {
    std::vector<std::string> files;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        files.push_back(entry.path());
    }
    return files;
}

TEST_F(DemoClusterTest, EveryClientIsShownToBeToldOfEveryFaultAndNothingIsLeft) {
    const Temp_Dir temporary;
    Child_Process program(demo(), {{"TMPDIR", temporary.path()}});
    std::string output = read_on_until(program, "The engines agree");
    const std::set<std::string> networks = networks_below(program.pid());
    EXPECT_THAT(networks, testing::SizeIs(4)); // of the hosts and their switch
    output += read_on_until(program, "The demo is complete");
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 0);
    EXPECT_EQ(program.error_output(), "");

    const std::vector<Section> sections = sections_of(output);
    expect_four_faults(sections);
    expect_six_rows_of_times(sections);
    for (const Section &one : sections) {
        for (const std::string &line : one.lines) {
            EXPECT_LE(line.size(), 100U) << line;
        }
    }
    EXPECT_THAT(processes_in(networks), IsEmpty());
    EXPECT_THAT(files_in(temporary.path()), IsEmpty());
}

TEST_F(DemoClusterTest, ASignalEndsItAndNothingIsLeft) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const Temp_Dir temporary;
        Child_Process program(demo(), {{"TMPDIR", temporary.path()}});
        // One signal arrives while it waits for engines, the other while it shows the clients' events.
        read_on_until(program, signal == SIGINT ? "The engines start" : "is cut");
        std::set<std::string> networks;
        ASSERT_TRUE(wait_until([&] {
            networks = networks_below(program.pid());
            return networks.size() == 4;
        }));
        program.send_signal(signal);
        const std::optional<Child_End> end = program.wait();
        ASSERT_TRUE(end);
        EXPECT_EQ(end->exit_status, 130);
        EXPECT_THAT(program.error_output(), HasSubstr("demo_cluster: interrupted\n"));
        EXPECT_THAT(processes_in(networks), IsEmpty());
        EXPECT_THAT(files_in(temporary.path()), IsEmpty());
    }
}

TEST_F(DemoClusterTest, AProgramThatFailsIsToldWithItsOwnWords) {
    Child_Process program(demo("/nowhere/corosync.toml"));
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 1);
    EXPECT_THAT(program.error_output(), AllOf(testing::ContainsRegex("wispd of host[123] has ended by itself"),
                                              HasSubstr("/nowhere/corosync.toml")));
    EXPECT_THAT(program.output(), Not(HasSubstr("is complete")));
}

// ---- Where it cannot be ----

std::vector<std::string> without_rights(std::vector<std::string> words) {
    words.insert(words.begin(), {"setpriv", "--bounding-set", "-all", "--inh-caps", "-all"});
    return words;
}

TEST_F(DemoClusterTest, SaysWhyAndEndsWithThreeWhereNamespacesAreNotPermitted) {
    Child_Process program(without_rights(demo()));
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 3);
    EXPECT_THAT(program.error_output(), AllOf(StartsWith("demo_cluster: no cluster on this machine: "),
                                              HasSubstr("Operation not permitted")));
    EXPECT_EQ(program.output(), "");

    Child_Process script(without_rights({DEMO, "cluster"}));
    const std::optional<Child_End> script_end = script.wait();
    ASSERT_TRUE(script_end);
    EXPECT_EQ(script_end->exit_status, 3);
    EXPECT_EQ(script.error_output(), "./demo: no cluster on this machine: namespaces are not permitted here: "
                                     "unshare: unshare failed: Operation not permitted\n");
    EXPECT_EQ(script.output(), "");
}

// A directory for the front of PATH. In it everything is installed except Corosync, the user is not root, and
// every user may make namespaces.
void pretend_no_engine(const Temp_Dir &directory) {
    const std::vector<std::pair<std::string, std::string>> scripts{
        {"dpkg-query",
         "shift 3\n"
         "for package; do [ \"$package\" = corosync ] || printf 'installed:%s ' \"$package\"; done\n"},
        {"id", "echo 1000\n"},
        {"unshare", "exit 0\n"}};
    for (const auto &[name, text] : scripts) {
        std::ofstream(directory.file(name)) << "#!/bin/sh\n" << text;
        chmod(directory.file(name).c_str(), 0755);
    }
}

TEST(DemoCluster, SaysWhatIsMissingAndEndsWithThreeWhereThereIsNoEngine) {
    const Temp_Dir first;
    pretend_no_engine(first);
    const char *path = std::getenv("PATH");
    ASSERT_NE(path, nullptr);
    Child_Process script({DEMO, "cluster"}, {{"PATH", first.path() + ":" + path}});
    const std::optional<Child_End> end = script.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 3);
    EXPECT_THAT(script.output(),
                AllOf(HasSubstr("these packages stay missing: corosync\n"),
                      HasSubstr("scripts/setup: no corosync: the cluster tests are skipped and ./demo cluster "
                                "cannot run\n"),
                      Not(HasSubstr("Building"))));
    EXPECT_EQ(script.error_output(),
              "./demo: no cluster on this machine: the lines above state what is missing\n");
}

TEST(DemoCluster, IsShownByItself) {
    for (const char *other : {"migrate", "--interactive"}) {
        Child_Process script({DEMO, "cluster", other});
        const std::optional<Child_End> end = script.wait();
        ASSERT_TRUE(end);
        EXPECT_EQ(end->exit_status, 2);
        EXPECT_EQ(script.error_output(),
                  "./demo: only one of migrate, cluster, scale and --interactive can be shown\n");
    }
}

} // namespace
} // namespace hb_test
