// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/publisher/client_log.h"
#include "tests/unit/wispd/log_fixture.h"

namespace {

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::SizeIs;
using wispd::Client_Log;

class WispdClientLog : public wispd_test::WispdLogged {
  protected:
    Client_Log::Time now_{1000s};
    Client_Log client_log_{[this] { return now_; }};
};

TEST_F(WispdClientLog, UserHasTwoHundredLinesAMinute) {
    for (int i = 0; i < 5000; ++i) {
        client_log_.warning(501, "refused");
    }
    ASSERT_THAT(lines(), SizeIs(201));
    EXPECT_THAT(lines()[199], EndsWith("warning refused"));
    EXPECT_THAT(lines()[200],
                EndsWith("warning uid 501 caused 200 log lines within a minute; suppressing more until the "
                         "minute ends"));
    now_ += 59999ms;
    client_log_.warning(501, "still too early");
    EXPECT_THAT(lines(), SizeIs(201));
}

TEST_F(WispdClientLog, WhatWasLeftOutIsToldInTheNextMinute) {
    for (int i = 0; i < 207; ++i) {
        client_log_.warning(501, "refused");
    }
    now_ += 60s;
    client_log_.warning(501, "refused again");
    ASSERT_THAT(lines(), SizeIs(203));
    EXPECT_THAT(lines()[201], EndsWith("warning uid 501: suppressed 7 more lines"));
    EXPECT_THAT(lines()[202], EndsWith("warning refused again"));
    now_ += 60s;
    client_log_.warning(501, "once more");
    EXPECT_THAT(lines(), SizeIs(204));
}

TEST_F(WispdClientLog, ALineThatIsNotLoggedNeedsNotBeBuilt) {
    const wispd::Log_Charge charge(client_log_, 501);
    EXPECT_FALSE(wispd::log_admits(wispd::Log_Level::debug)) << "the level permits no such line";
    for (std::size_t i = 0; i < Client_Log::LINES; ++i) {
        ASSERT_TRUE(wispd::log_admits(wispd::Log_Level::info));
        wispd::log_admitted(wispd::Log_Level::info, "asked");
    }
    EXPECT_FALSE(wispd::log_admits(wispd::Log_Level::info));
    EXPECT_THAT(lines(), SizeIs(201));
    wispd::log_info("asked");
    EXPECT_THAT(lines(), SizeIs(201));
    EXPECT_TRUE(wispd::log_admits(wispd::Log_Level::warning)) << "levels are counted apart";
}

TEST_F(WispdClientLog, FloodOfOneUserHidesNothingOfAnother) {
    for (int i = 0; i < 300; ++i) {
        client_log_.warning(501, "refused");
    }
    client_log_.warning(0, "root's");
    EXPECT_THAT(lines().back(), EndsWith("warning root's"));
}

TEST_F(WispdClientLog, LevelsAreCountedApart) {
    for (int i = 0; i < 300; ++i) {
        client_log_.info(0, "asked");
    }
    client_log_.warning(0, "refused");
    EXPECT_THAT(lines().back(), EndsWith("warning refused"));
}

TEST_F(WispdClientLog, CountIsNotLostWhenOthersCome) {
    for (int i = 0; i < 201; ++i) {
        client_log_.warning(501, "refused");
    }
    now_ += 61s;
    client_log_.warning(502, "of another");
    client_log_.warning(501, "refused again");
    ASSERT_THAT(lines(), SizeIs(204));
    EXPECT_THAT(lines()[202], EndsWith("uid 501: suppressed 1 more lines"));
}

TEST_F(WispdClientLog, ReportTellsWhatWasSuppressedWithoutAFurtherLine) {
    int suppressions = 0;
    client_log_.on_suppression([&] { ++suppressions; });
    for (int i = 0; i < 205; ++i) {
        client_log_.info(501, "asked");
    }
    EXPECT_EQ(suppressions, 1);
    EXPECT_TRUE(client_log_.report());
    EXPECT_THAT(lines(), SizeIs(201));
    now_ += 60s;
    EXPECT_FALSE(client_log_.report());
    ASSERT_THAT(lines(), SizeIs(202));
    EXPECT_THAT(lines().back(), EndsWith("info uid 501: suppressed 5 more lines"));
    EXPECT_FALSE(client_log_.report(true));
    EXPECT_THAT(lines(), SizeIs(202));
}

TEST_F(WispdClientLog, ReportOfAllIsNotPutOff) {
    for (int i = 0; i < 205; ++i) {
        client_log_.info(501, "asked");
    }
    EXPECT_FALSE(client_log_.report(true));
    EXPECT_THAT(lines().back(), EndsWith("info uid 501: suppressed 5 more lines"));
}

TEST_F(WispdClientLog, LinesThatAreNotLoggedCostNothing) {
    for (int i = 0; i < 300; ++i) {
        client_log_.debug(501, "connected");
    }
    wispd::set_log_level("debug");
    client_log_.debug(501, "connected again");
    ASSERT_THAT(lines(), SizeIs(1));
    EXPECT_THAT(lines()[0], EndsWith("debug connected again"));
}

TEST_F(WispdClientLog, EveryLineUnderAChargeIsCharged) {
    {
        const wispd::Log_Charge charge(client_log_, 501);
        EXPECT_EQ(client_log_.charged(), 501u);
        for (int i = 0; i < 300; ++i) {
            wispd::log_info("a result");
        }
        wispd::log_error("of another level");
    }
    EXPECT_THAT(lines(), SizeIs(202));
    EXPECT_FALSE(client_log_.charged().has_value());
    wispd::log_info("nobody's");
    EXPECT_THAT(lines().back(), EndsWith("info nobody's"));
}

TEST_F(WispdClientLog, ChargesNest) {
    const wispd::Log_Charge outer(client_log_, 501);
    for (int i = 0; i < 300; ++i) {
        wispd::log_info("of one");
    }
    {
        const wispd::Log_Charge inner(client_log_, 502);
        wispd::log_info("of the other");
    }
    EXPECT_THAT(lines().back(), EndsWith("info of the other"));
    wispd::log_info("of one");
    client_log_.info(502, "named");
    EXPECT_THAT(lines().back(), EndsWith("info named"));
    EXPECT_THAT(lines(), SizeIs(203));
}

} // namespace
