// SPDX-License-Identifier: Apache-2.0
// The examples in Python, with the package of this tree.
#include <csignal>
#include <system_error>

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

// The socket's file exists before its owner listens.
bool accepts_clients(const std::string &socket) {
    try {
        return Stream(socket).descriptor() >= 0;
    } catch (const std::system_error &) {
        return false;
    }
}

class PythonExamples : public testing::Test {
  protected:
    void SetUp() override {
#ifndef HB_WITH_PYTHON
        GTEST_SKIP() << "the package was not built (packages python3-cffi and python3-dev)";
#endif
        ASSERT_TRUE(daemon.start());
    }

    static std::string path() {
        return HB_BINARY_DIR "/python";
    }

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
    ASSERT_TRUE(wait_until([&] { return accepts_clients(socket); })) << example.process().error_output();
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
