// SPDX-License-Identifier: Apache-2.0
// What a service manager receives while the event loop runs, is stuck, or ends.
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/service_report.h"
#include "tests/support/datagram_socket.h"
#include "tests/support/deadline.h"
#include "tests/support/environment_guard.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace std::chrono_literals;
using hb_test::Datagram_Socket;
using hb_test::Deadline;
using hb_test::Environment_Guard;
using testing::HasSubstr;
using testing::Optional;
using wispd::Service_Notify;
using wispd::Service_Report;

class WispdServiceReport : public testing::Test {
  protected:
    Service_Notify notify(const char *watchdog_microseconds = nullptr) {
        const Environment_Guard socket("NOTIFY_SOCKET", manager_.name());
        const Environment_Guard interval("WATCHDOG_USEC",
                                         watchdog_microseconds == nullptr
                                             ? std::nullopt
                                             : std::optional<std::string>(watchdog_microseconds));
        return Service_Notify::from_environment();
    }
    // Runs the loop until a message arrives.
    std::string next() {
        const Deadline deadline;
        while (!deadline.over()) {
            context_.restart();
            context_.poll();
            if (const std::optional<std::string> message = manager_.receive(Deadline(1ms))) {
                return *message;
            }
        }
        return "nothing";
    }
    bool nothing_arrived() { return !manager_.receive(Deadline(0ms)); }

    hb_test::Temp_Dir directory_;
    Datagram_Socket manager_{directory_.file("notify")};
    asio::io_context context_;
    std::string counts_ = "3 of 3 nodes up";
};

TEST_F(WispdServiceReport, ReadinessBringsTheCounts) {
    Service_Report report(context_, notify(), [this] { return counts_; });
    report.counts_may_have_changed();
    EXPECT_TRUE(nothing_arrived());
    report.ready();
    EXPECT_EQ(next(), "READY=1\nSTATUS=3 of 3 nodes up");
    EXPECT_TRUE(nothing_arrived()) << "without a watchdog nothing is fed";
}

TEST_F(WispdServiceReport, ManyChangesAreOneMessageAndNoChangeIsNone) {
    Service_Report report(context_, notify(), [this] { return counts_; });
    report.ready();
    next();
    for (int i = 0; i < 1000; ++i) {
        counts_ = std::to_string(i) + " clients";
        report.counts_may_have_changed();
    }
    EXPECT_EQ(next(), "STATUS=999 clients");
    report.counts_may_have_changed();
    context_.restart();
    while (context_.run_one() > 0) { // ends when no timer is left
    }
    EXPECT_TRUE(nothing_arrived());
}

TEST_F(WispdServiceReport, TheDaemonIsReadyAgainWhenTheLastReloadHasEnded) {
    Service_Report report(context_, notify(), [this] { return counts_; });
    report.ready();
    next();
    report.reload_began();
    report.reload_began();
    EXPECT_THAT(next(), HasSubstr("RELOADING=1\n"));
    report.reload_ended();
    EXPECT_TRUE(nothing_arrived());
    counts_ = "2 of 4 nodes up";
    report.reload_ended();
    EXPECT_EQ(next(), "READY=1\nSTATUS=2 of 4 nodes up");
}

TEST_F(WispdServiceReport, AfterTheStopNothingFollows) {
    Service_Report report(context_, notify(), [this] { return counts_; });
    report.ready();
    next();
    report.counts_may_have_changed();
    report.reload_began();
    next();
    counts_ = "other";
    report.stopping("stopping: SIGTERM");
    EXPECT_EQ(next(), "STOPPING=1\nSTATUS=stopping: SIGTERM");
    report.reload_ended();
    report.counts_may_have_changed();
    context_.restart();
    while (context_.run_one() > 0) {
    }
    EXPECT_TRUE(nothing_arrived());
}

// The watchdog must notice a loop that is stuck in one handler, so nothing else may feed it.
TEST_F(WispdServiceReport, TheLoopFeedsTheWatchdogAndAStuckLoopDoesNot) {
    Service_Report report(context_, notify("20000"), [this] { return counts_; });
    report.ready();
    next();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(next(), "WATCHDOG=1");
    }
    bool was_stuck = false;
    asio::post(context_, [&] {
        manager_.drain();
        // Many intervals pass inside this handler.
        was_stuck = !manager_.receive(Deadline(200ms));
    });
    const Deadline deadline;
    while (!was_stuck && !deadline.over()) {
        context_.restart();
        context_.run_one();
    }
    EXPECT_TRUE(was_stuck);
    EXPECT_EQ(next(), "WATCHDOG=1");
}

} // namespace
