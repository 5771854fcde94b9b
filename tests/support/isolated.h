// SPDX-License-Identifier: Apache-2.0
// Runs tests in a process of their own: the library keeps process-wide state, and each test needs it fresh.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace hb_test {

// How a forked child ended.
struct Isolated_Result {
    bool timed_out = false;
    int signal = 0;      // the signal that ended it, or 0
    int exit_status = 0; // if no signal ended it
    struct Failure {
        std::string file;
        int line;
        std::string message;
    };
    std::vector<Failure> failures;        // of the assertions in the child
    std::vector<std::string> left_behind; // segments, semaphores, directories; already removed
};

inline constexpr std::chrono::seconds ISOLATED_TIME{200};

// Runs the body in a forked child, which is killed at the deadline. Call it while no other thread runs.
Isolated_Result run_in_child(const std::function<void()> &body, std::chrono::milliseconds time = ISOLATED_TIME);

// The same, and passes every failure on to the running test.
void run_isolated(const std::function<void()> &body);

} // namespace hb_test

// Defines a test whose body runs in a child process. EXPECT_ and ASSERT_ work in it as usual.
#define ISOLATED_TEST(suite, name)                                                                             \
    static void suite##_##name##_body();                                                                       \
    TEST(suite, name) {                                                                                        \
        hb_test::run_isolated(suite##_##name##_body);                                                          \
    }                                                                                                          \
    static void suite##_##name##_body()
