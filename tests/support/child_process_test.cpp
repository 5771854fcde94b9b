// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/support/process_counters.h"

namespace hb_test {
namespace {

using Arguments = std::vector<std::string>;

TEST(ChildProcess, ReportsExitStatusAndBothStreams) {
    Child_Process child(Arguments{"sh", "-c", "echo out; echo err >&2; exit 4"});
    const auto end = child.wait();
    ASSERT_TRUE(end.has_value());
    EXPECT_EQ(4, end->exit_status);
    EXPECT_EQ(0, end->signal);
    EXPECT_EQ("out\n", child.output());
    EXPECT_EQ("err\n", child.error_output());
}

TEST(ChildProcess, InputReachesIt) {
    Child_Process child(Arguments{"cat"});
    child.write_input("one\ntwo\n");
    child.close_input();
    EXPECT_EQ("one", child.read_line());
    EXPECT_EQ("two", child.read_line());
    EXPECT_FALSE(child.read_line().has_value());
    ASSERT_TRUE(child.wait().has_value());
}

TEST(ChildProcess, WaitsForALine) {
    Child_Process child(Arguments{"sh", "-c", "echo a; echo the wanted b; echo c; read x"});
    EXPECT_TRUE(child.read_until("wanted"));
    EXPECT_EQ("c", child.read_line());
    EXPECT_TRUE(child.running());
}

TEST(ChildProcess, EnvironmentIsAdded) {
    Child_Process child(Arguments{"sh", "-c", "echo \"$HB_TEST_VALUE $HOME\""}, {{"HB_TEST_VALUE", "here"}});
    const auto line = child.read_line();
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(0U, line->find("here"));
}

// The new process has one thread. Whatever lock another thread held at that moment, nobody gives it back.
TEST(ChildProcess, StartsWhileOtherThreadsAllocate) {
    std::atomic<bool> ended{false};
    std::vector<std::thread> allocating(3);
    for (std::thread &thread : allocating) {
        thread = std::thread([&] {
            while (!ended) {
                const std::vector<std::string> texts(20, std::string(60000, 'x'));
                EXPECT_EQ('x', texts.back().back());
            }
        });
    }
    for (int i = 0; i < 100; ++i) {
        Child_Process child(Arguments{"true"}, {{"HB_TEST_VALUE", std::string(60000, 'v')}});
        const auto end = child.wait();
        EXPECT_TRUE(end && end->exit_status == 0);
    }
    ended = true;
    for (std::thread &thread : allocating) {
        thread.join();
    }
}

TEST(ChildProcess, MuchOutputDoesNotStallIt) {
    Child_Process child(Arguments{"sh", "-c", "head -c 1000000 /dev/zero; head -c 300000 /dev/zero >&2"});
    const auto end = child.wait();
    ASSERT_TRUE(end.has_value());
    EXPECT_EQ(0, end->exit_status);
    EXPECT_EQ(1000000U, child.output().size());
    EXPECT_EQ(300000U, child.error_output().size());
}

TEST(ChildProcess, ASignalEndsIt) {
    Child_Process child(Arguments{"sh", "-c", "echo ready; read x"});
    ASSERT_TRUE(child.read_until("ready"));
    child.send_signal(SIGTERM);
    const auto end = child.wait();
    ASSERT_TRUE(end.has_value());
    EXPECT_EQ(SIGTERM, end->signal);
}

TEST(ChildProcess, WaitingEndsAtTheDeadline) {
    Child_Process child(Arguments{"sh", "-c", "read x"});
    EXPECT_FALSE(child.wait(Deadline(std::chrono::milliseconds(20))).has_value());
    EXPECT_TRUE(child.running());
}

TEST(ChildProcess, IsKilledAndReapedWithTheObject) {
    pid_t pid = 0;
    const int before = open_descriptors();
    {
        Child_Process child(Arguments{"sh", "-c", "trap '' TERM; echo ready; read x"});
        pid = child.pid();
        ASSERT_TRUE(child.read_until("ready"));
    }
    EXPECT_EQ(-1, waitpid(pid, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
    EXPECT_EQ(before, open_descriptors());
}

TEST(ChildProcess, AProgramThatIsNotThereIsNamed) {
    try {
        Child_Process child(Arguments{"/nowhere/to/be/found"});
        FAIL() << "it was run";
    } catch (const std::system_error &error) {
        EXPECT_EQ(ENOENT, error.code().value());
        EXPECT_NE(std::string::npos, std::string(error.what()).find("/nowhere/to/be/found"));
    }
}

} // namespace
} // namespace hb_test
