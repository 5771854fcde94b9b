#include "daemon/publisher/client_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
                EndsWith("warning clients of uid 501 have caused 200 lines within a minute; what they "
                         "cause in the rest of it is left out"));
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
    EXPECT_THAT(lines()[201], EndsWith("warning 7 lines about clients of uid 501 were left out"));
    EXPECT_THAT(lines()[202], EndsWith("warning refused again"));
    now_ += 60s;
    client_log_.warning(501, "once more");
    EXPECT_THAT(lines(), SizeIs(204));
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
    EXPECT_THAT(lines()[202], EndsWith("1 lines about clients of uid 501 were left out"));
}

} // namespace
