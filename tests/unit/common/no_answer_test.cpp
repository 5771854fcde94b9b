// SPDX-License-Identifier: Apache-2.0
#include <chrono>

#include <gtest/gtest.h>

#include "common/no_answer.h"

using namespace std::chrono_literals;

TEST(NoAnswer, TimesAreSecondsWithoutNeedlessDigits) {
    EXPECT_EQ(common::seconds_text(10s), "10 s");
    EXPECT_EQ(common::seconds_text(2500ms), "2.5 s");
    EXPECT_EQ(common::seconds_text(1001ms), "1.001 s");
    EXPECT_EQ(common::seconds_text(20ms), "0.02 s");
}

TEST(NoAnswer, TheArgumentIsRoundedToMillisecondsAndNotToNothing) {
    for (int milliseconds = 1; milliseconds <= 2000; ++milliseconds) {
        EXPECT_EQ(common::patience_of(milliseconds / 1000.0), std::chrono::milliseconds(milliseconds));
    }
    EXPECT_EQ(common::patience_of(0.0001), 1ms);
    EXPECT_EQ(common::patience_of(3600.0), 1h);
}

TEST(NoAnswer, TheLineSaysWhatWhereAndWhatToDo) {
    EXPECT_EQ(
        common::no_answer_line("/run/s", 2s),
        "wispd does not answer at /run/s (waited 2 s); check it with 'systemctl status wispd', or wait longer "
        "with --timeout SECONDS");
}
