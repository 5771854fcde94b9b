// SPDX-License-Identifier: Apache-2.0
// A program without exceptions and run-time types, with a real daemon and with the simulated cluster service.
#include <csignal>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/companion/cluster.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"
#include "tests/system/service_client.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

using Lines = std::vector<std::string>;

// Returns the next lines that the program prints.
Lines lines_of(Child_Process &program, std::size_t count) {
    Lines lines;
    while (lines.size() < count) {
        const std::optional<std::string> line = program.read_line();
        if (!line) {
            lines.push_back("[no line; its errors: " + program.error_output() + "]");
            break;
        }
        lines.push_back(*line);
    }
    return lines;
}

std::string program_path() {
    return programs_of_this_build().path("companion_plain_program");
}

using CompanionPlainProgram = SmallCluster;

TEST_F(CompanionPlainProgram, PrintsTheEventsOfTheDaemonUntilItEnds) {
    Child_Process program({program_path(), "daemon"});
    EXPECT_EQ((Lines{"watching 1 descriptors", "nodes up 1 2 3", "adapters up 2 3 4 5 6 7"}),
              lines_of(program, 3));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    EXPECT_EQ((Lines{"adapters died 6 7", "nodes died 3"}), lines_of(program, 2));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-up","node":4})"));
    EXPECT_EQ((Lines{"adapters joined 8", "nodes joined 4"}), lines_of(program, 2));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-leave","node":4})"));
    EXPECT_EQ((Lines{"adapters died 8", "nodes died 4", "configuration"}), lines_of(program, 3));
    ASSERT_TRUE(daemon.tells(R"({"do":"ffdc","id":"x"})"));
    EXPECT_EQ((Lines{"another event Hb_FFDC_Group"}), lines_of(program, 1));
    ASSERT_TRUE(daemon.stop());
    EXPECT_EQ((Lines{"HB_ERROR_DISCONNECTED"}), lines_of(program, 1));
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(1, end->exit_status);
}

TEST_F(CompanionPlainProgram, OfTheDocumentPrintsDeathsAlsoAfterARestartOfTheDaemon) {
    Child_Process program({programs_of_this_build().path("companion_documented_program")});
    // From its subscription on, it misses nothing.
    ASSERT_TRUE(wait_until(
        [&] { return daemon.tell(R"({"do":"state"})").find("hb_watch-nodes") != std::string::npos; }));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    EXPECT_EQ((Lines{"node 3 died"}), lines_of(program, 1));
    ASSERT_TRUE(daemon.stop());
    daemon.write_configuration(
        replaced(small_cluster_file(), "name = \"beta\"", "name = \"beta\"\nstate = \"down\""));
    ASSERT_TRUE(daemon.start());
    EXPECT_EQ((Lines{"node 2 died"}), lines_of(program, 1));
}

TEST_F(CompanionPlainProgram, MovesItsWatcherToTheClusterServiceAndMissesNothing) {
    ASSERT_TRUE(daemon.stop());
    const std::string same_numbers =
        replaced(small_cluster_file(), "adapters_per_node = 2", "adapters_per_node = 48");
    daemon.write_configuration(same_numbers);
    ASSERT_TRUE(daemon.start());
    const Temp_Dir directory;
    std::ofstream(directory.file("service.toml"))
        << replaced(same_numbers, "name = \"beta\"", "name = \"beta\"\nstate = \"down\"");
    Child_Process::Environment environment = service_preloaded(programs_of_this_build());
    environment.insert(environment.end(), {{"HB_MOX_SIM_CONFIG", directory.file("service.toml")},
                                           {"HB_MOX_SIM_CONTROL", directory.file("c")}});
    Child_Process program({program_path(), "move"}, environment);
    EXPECT_EQ((Lines{"node 1 joined", "node 2 joined", "node 3 joined", "current", "moved", "EALREADY"}),
              lines_of(program, 6));
    EXPECT_EQ((Lines{"node 2 died"}), lines_of(program, 1));
    const Stream control(directory.file("c"));
    control.send("{\"do\":\"node-down\",\"node\":3}\n");
    EXPECT_EQ((Lines{"node 3 died"}), lines_of(program, 1));
}

TEST(CompanionPlainProgramAlone, SaysThatNoDaemonListens) {
    Child_Process program({program_path(), "daemon"}, {{"HB_SERVER_SOCKET", "/nonexistent/socket"}});
    EXPECT_EQ((Lines{"HB_ERROR_CONNECT_FAILED"}), lines_of(program, 1));
}

TEST(CompanionPlainProgramAlone, PrintsTheEventsOfTheClusterService) {
    const Temp_Dir directory;
    std::ofstream(directory.file("cluster.toml")) << small_cluster_file();
    Child_Process::Environment environment = service_preloaded(programs_of_this_build());
    environment.insert(environment.end(), {{"HB_SERVER_SOCKET", directory.file("no_daemon")},
                                           {"HB_MOX_SIM_CONFIG", directory.file("cluster.toml")},
                                           {"HB_MOX_SIM_CONTROL", directory.file("c")}});
    Child_Process program({program_path(), "service"}, environment);
    EXPECT_EQ(
        (Lines{"watching 9 descriptors", "configuration", "nodes up 1 2 3", "adapters up 48 49 96 97 144 145"}),
        lines_of(program, 4));
    const Stream control(directory.file("c"));
    control.send("{\"do\":\"node-down\",\"node\":3}\n");
    EXPECT_EQ((Lines{"adapters died 144 145", "nodes died 3", "configuration"}), lines_of(program, 3));
    control.send("{\"do\":\"node-up\",\"node\":3}\n");
    EXPECT_EQ((Lines{"nodes joined 3", "configuration", "adapters joined 144 145"}), lines_of(program, 3));
}

TEST(CompanionPlainProgramAlone, SaysThatItHasNoClusterService) {
    Child_Process program({program_path(), "service"}, {{"HB_SERVER_SOCKET", "/nonexistent/socket"}});
    EXPECT_EQ((Lines{"HB_ERROR_CLUSTER_QUERY_FAILED"}), lines_of(program, 1));
}

TEST(CompanionPlainProgramAlone, AbortsForAMissingValueAndPrintsTheReason) {
    Child_Process program({program_path(), "abort"});
    const std::optional<Child_End> end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(SIGABRT, end->signal);
    EXPECT_NE(std::string::npos,
              program.error_output().find("hb_client: no route to the node is known (HB_ERROR_NO_ROUTE, 6)\n"))
        << program.error_output();
}

} // namespace
} // namespace hb_test
