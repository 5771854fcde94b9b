// SPDX-License-Identifier: Apache-2.0
// Runs the program of ./demo scale, with few agents, and the script where the demonstration cannot run.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "tests/cluster/namespace_sweep.h"
#include "tests/cluster/serf_test.h"
#include "tests/support/temp_dir.h"

namespace hb_test {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string PROGRAM = std::string(HB_TEST_BIN_DIR) + "/demo_scale";
const std::string DEMO = std::string(HB_TEST_SOURCE_DIR) + "/demo";

class DemoScaleTest : public SerfTest {};

// Returns the rows of the table under this headline, by its beginning.
std::vector<std::string> rows(const std::string &output, const std::string &headline) {
    std::vector<std::string> found;
    std::istringstream lines(output);
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("== ")) {
            inside = line.starts_with("== " + headline);
        } else if (inside && line.starts_with("   node ")) {
            found.push_back(line);
        }
    }
    return found;
}

void expect_row(const std::vector<std::string> &rows, std::size_t row, const std::string &node,
                const std::string &members, const std::string &up) {
    ASSERT_LT(row, rows.size());
    EXPECT_THAT(rows[row], ContainsRegex("^   node " + node + " +" + members +
                                         " +[1-9][0-9]* +[0-9.]+ s +[0-9.]+ s +" + up + "$"));
}

TEST_F(DemoScaleTest, ShowsEachClientWithAllDeathsAndReturnsAndLeavesNothing) {
    const Temp_Dir temporary;
    Child_Process program({PROGRAM, "--agents", "20"}, {{"TMPDIR", temporary.path()}});
    std::string output;
    std::set<std::string> spaces;
    while (const std::optional<std::string> line = program.read_line(Deadline(std::chrono::minutes(3)))) {
        output += *line + "\n";
        std::ifstream children("/proc/" + std::to_string(program.pid()) + "/task/" +
                               std::to_string(program.pid()) + "/children");
        for (pid_t child = 0; children >> child;) {
            spaces.insert(network_namespace(child));
        }
    }
    spaces.erase("");
    spaces.erase(network_namespace(getpid()));
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 0) << program.error_output() << output;
    EXPECT_THAT(output, HasSubstr("\nThe demo is complete: "));

    const std::vector<std::string> killed = rows(output, "2 agents are killed at once: nodes 3, 13 (");
    const std::vector<std::string> back = rows(output, "They start again");
    for (std::size_t row = 0; row < 3; ++row) {
        const std::string node = row == 0 ? "1" : row == 1 ? "10" : "20";
        expect_row(killed, row, node, "2", "18");
        expect_row(back, row, node, "2", "20");
    }
    if (!why_no_partitions()) {
        const std::vector<std::string> parted = rows(output, "The network is parted");
        expect_row(parted, 0, "1", "11", "9");
        expect_row(parted, 1, "10", "9", "11");
        expect_row(parted, 2, "20", "9", "11");
        expect_row(rows(output, "The network is mended"), 0, "1", "11", "20");
    }
    EXPECT_GE(spaces.size(), 2U);
    EXPECT_THAT(processes_in(spaces), IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
}

TEST_F(DemoScaleTest, ASignalEndsItAndNothingIsLeft) {
    Child_Process program({PROGRAM, "--agents", "20"});
    ASSERT_TRUE(program.read_until("== The agents start"));
    std::set<std::string> spaces;
    const std::string children =
        "/proc/" + std::to_string(program.pid()) + "/task/" + std::to_string(program.pid()) + "/children";
    const std::string own = network_namespace(getpid());
    ASSERT_TRUE(wait_until([&] {
        std::ifstream file(children);
        for (pid_t child = 0; file >> child;) {
            spaces.insert(network_namespace(child));
        }
        spaces.erase("");
        spaces.erase(own);
        return processes_in(spaces).size() > 10;
    }));
    program.send_signal(SIGINT);
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->signal, SIGINT);
    EXPECT_TRUE(wait_until([&] { return processes_in(spaces).empty(); }));
}

TEST_F(DemoScaleTest, SaysWhyAndEndsWithThreeWhereNamespacesAreNotPermitted) {
    const std::vector<std::string> without_rights = {"setpriv", "--bounding-set", "-all", "--inh-caps", "-all"};
    std::vector<std::string> program = without_rights;
    program.push_back(PROGRAM);
    Child_Process demonstration(program);
    const std::optional<Child_End> end = demonstration.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 3);
    EXPECT_THAT(demonstration.error_output(), AllOf(StartsWith("demo_scale: no agents on this machine: "),
                                                    HasSubstr("Operation not permitted")));
    EXPECT_EQ(demonstration.output(), "");

    program = without_rights;
    program.insert(program.end(), {DEMO, "scale"});
    Child_Process script(program);
    const std::optional<Child_End> script_end = script.wait();
    ASSERT_TRUE(script_end);
    EXPECT_EQ(script_end->exit_status, 3);
    EXPECT_EQ(script.error_output(), "./demo: no cluster on this machine: namespaces are not permitted here: "
                                     "unshare: unshare failed: Operation not permitted\n");
}

// A directory for the front of PATH. In it everything is installed except Serf, the user is not root, and every user may
// make namespaces.
void pretend_no_serf(const Temp_Dir &directory) {
    const std::vector<std::pair<std::string, std::string>> scripts{
        {"dpkg-query",
         "shift 3\n"
         "for package; do [ \"$package\" = serf ] || printf 'installed:%s ' \"$package\"; done\n"},
        {"id", "echo 1000\n"},
        {"unshare", "exit 0\n"}};
    for (const auto &[name, text] : scripts) {
        std::ofstream(directory.file(name)) << "#!/bin/sh\n" << text;
        chmod(directory.file(name).c_str(), 0755);
    }
}

TEST(DemoScale, SaysWhatIsMissingAndEndsWithThreeWhereThereIsNoSerf) {
    const Temp_Dir first;
    pretend_no_serf(first);
    const char *path = std::getenv("PATH");
    ASSERT_NE(path, nullptr);
    Child_Process script({DEMO, "scale"}, {{"PATH", first.path() + ":" + path}});
    const std::optional<Child_End> end = script.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 3);
    EXPECT_THAT(script.output(),
                AllOf(HasSubstr("these packages stay missing: serf\n"),
                      HasSubstr("scripts/setup: no serf: the tests on real Serf agents are skipped and ./demo "
                                "scale cannot run\n"),
                      Not(HasSubstr("Building"))));
    EXPECT_EQ(script.error_output(),
              "./demo: no cluster on this machine: the lines above state what is missing\n");
}

} // namespace
} // namespace hb_test
