// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <csignal>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/hbctl/stop_signal.h"
#include "tools/hbctl/waiting.h"

using namespace hbctl;
using testing::ElementsAre;

namespace {

class Pipe {
  public:
    Pipe() { EXPECT_EQ(pipe(ends_.data()), 0); }
    ~Pipe() {
        close(ends_[0]);
        close(ends_[1]);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;
    int read_end() const { return ends_[0]; }
    void fill() const { EXPECT_EQ(write(ends_[1], "x", 1), 1); }

  private:
    std::array<int, 2> ends_{};
};

Deadline already_over() {
    return deadline_after(std::chrono::milliseconds(0));
}

} // namespace

TEST(HbctlWaiting, NamesTheDescriptorsThatAreReady) {
    const Pipe silent;
    const Pipe speaking;
    speaking.fill();
    std::vector<int> ready;
    EXPECT_EQ(wait_for({silent.read_end(), speaking.read_end()}, -1, std::nullopt, ready), Wake::ready);
    EXPECT_THAT(ready, ElementsAre(speaking.read_end(), -1));
}

TEST(HbctlWaiting, EndsWithTheTime) {
    const Pipe silent;
    std::vector<int> ready;
    EXPECT_EQ(wait_for({silent.read_end()}, -1, already_over(), ready), Wake::time_over);
    EXPECT_EQ(wait_for({}, -1, deadline_after(std::chrono::milliseconds(5)), ready), Wake::time_over);
}

TEST(HbctlWaiting, WhatIsReadyComesBeforeTheEndOfTheTime) {
    const Pipe speaking;
    speaking.fill();
    std::vector<int> ready;
    EXPECT_EQ(wait_for({speaking.read_end()}, -1, already_over(), ready), Wake::ready);
}

TEST(HbctlWaiting, StoppingComesBeforeEverything) {
    const Pipe stop;
    const Pipe speaking;
    stop.fill();
    speaking.fill();
    std::vector<int> ready;
    EXPECT_EQ(wait_for({speaking.read_end()}, stop.read_end(), std::nullopt, ready), Wake::stopped);
}

TEST(HbctlWaiting, ALimitBeyondTheClockIsNoLimit) {
    EXPECT_EQ(deadline_after(std::chrono::milliseconds::max()), std::nullopt);
}

TEST(HbctlStopSignal, BothSignalsWakeTheWaitAndTheOldDispositionReturns) {
    for (const int number : {SIGINT, SIGTERM}) {
        const Stop_Signal stop;
        ASSERT_EQ(raise(number), 0);
        std::vector<int> ready;
        EXPECT_EQ(wait_for({}, stop.descriptor(), std::nullopt, ready), Wake::stopped);
        struct sigaction now {};
        sigaction(number, nullptr, &now);
        EXPECT_EQ(now.sa_handler, SIG_DFL) << "a second signal must end the process";
    }
}
