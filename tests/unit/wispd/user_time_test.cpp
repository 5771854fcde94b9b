// SPDX-License-Identifier: Apache-2.0
// Each user's share of the daemon's time for requests.
#include <gtest/gtest.h>

#include "daemon/publisher/user_time.h"

namespace {

using namespace std::chrono_literals;

constexpr uid_t OWN = 500;
constexpr uid_t SOMEBODY = 1000;
constexpr uid_t ANOTHER = 1001;

class WispdUserTime : public testing::Test {
  protected:
    wispd::User_Time::Clock::time_point now_{1000s};
    wispd::User_Time time_{OWN, [this] { return now_; }};
};

TEST_F(WispdUserTime, IsThereAtFirst) {
    EXPECT_EQ(0ms, time_.wait(SOMEBODY));
    time_.spent(SOMEBODY, 49ms);
    EXPECT_EQ(0ms, time_.wait(SOMEBODY));
}

TEST_F(WispdUserTime, IsAFifthForAUserThatAsksWithoutEnd) {
    std::chrono::nanoseconds served = 0ms;
    const auto end = now_ + 100s;
    while (now_ < end) {
        const auto wait = time_.wait(SOMEBODY);
        if (wait > 0ms) {
            now_ += wait;
            continue;
        }
        time_.spent(SOMEBODY, 1ms);
        served += 1ms;
        now_ += 1ms;
    }
    EXPECT_GE(served, 19s);
    EXPECT_LE(served, 21s);
}

TEST_F(WispdUserTime, OfOneUserIsNotThatOfAnother) {
    time_.spent(SOMEBODY, 10s);
    EXPECT_GT(time_.wait(SOMEBODY), 40s);
    EXPECT_EQ(0ms, time_.wait(ANOTHER));
}

TEST_F(WispdUserTime, ComesBackWithTheTimeThatPasses) {
    time_.spent(SOMEBODY, 100ms);
    EXPECT_EQ(375ms, time_.wait(SOMEBODY));
    now_ += 375ms;
    EXPECT_EQ(0ms, time_.wait(SOMEBODY));
}

TEST_F(WispdUserTime, HasNoLimitForRootAndTheDaemonsOwnUser) {
    time_.spent(0, 10s);
    time_.spent(OWN, 10s);
    EXPECT_EQ(0ms, time_.wait(0));
    EXPECT_EQ(0ms, time_.wait(OWN));
}

} // namespace
