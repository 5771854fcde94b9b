// SPDX-License-Identifier: Apache-2.0
// The examples in Python, with the package of this tree.
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/examples/example.h"
#include "tests/system/clusters.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

using testing::EndsWith;

// The interpreter that the package is built for.
const std::string PYTHON = "/usr/bin/python3";
const std::string EXAMPLES = HB_SOURCE_DIR "/examples/";

class PythonExamples : public testing::Test {
  protected:
    void SetUp() override {
        const std::string command =
            "PYTHONPATH='" + path() + "' " + PYTHON + " -B -c 'import hb_client' >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0) {
            GTEST_SKIP() << PYTHON << " does not find the package hb_client in " << path();
        }
        ASSERT_TRUE(daemon.start());
    }

    static std::string path() { return HB_BINARY_DIR "/python"; }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
};

TEST_F(PythonExamples, DeathsPrintsDeathsAndJoins) {
    Example example(daemon, {PYTHON, "-B", EXAMPLES + "deaths.py"}, {{"PYTHONPATH", path()}});
    // Nothing shows when it has connected: change the cluster until it prints something.
    ASSERT_TRUE(wait_until([&] {
        EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
        EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
        return example.process().read_line(Deadline(std::chrono::milliseconds(500))).has_value();
    }));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":2})"));
    EXPECT_THAT(example.line_with("node 2"), EndsWith(" node 2 (beta) died"));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-up","node":2})"));
    EXPECT_THAT(example.line_with("node 2"), EndsWith(" node 2 (beta) joined"));
}

TEST_F(PythonExamples, TheServiceServesTheNodesThatAreUp) {
    const Temp_Dir directory;
    const std::string socket = directory.file("service");
    Example example(daemon, {PYTHON, "-B", EXAMPLES + "service.py", socket}, {{"PYTHONPATH", path()}});
    ASSERT_TRUE(wait_until([&] { return std::filesystem::exists(socket); }))
        << example.process().error_output();
    const Stream client(socket);
    EXPECT_EQ(client.read_line(), R"({"in_contact": true, "up": [1, 2, 3]})");
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    EXPECT_EQ(client.read_line(), R"({"in_contact": true, "up": [1, 2]})");
    daemon.kill();
    EXPECT_EQ(client.read_line(), R"({"in_contact": false, "up": [1, 2]})");
    example.process().send_signal(SIGTERM);
    EXPECT_TRUE(client.wait_closed());
    EXPECT_TRUE(example.ends_with(0)) << example.process().error_output();
}

} // namespace
} // namespace hb_test
