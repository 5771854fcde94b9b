// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "common/no_answer.h"

using namespace std::chrono_literals;

TEST(NoAnswer, TimesAreSecondsWithoutNeedlessDigits) {
    EXPECT_EQ(common::seconds_text(10s), "10 s");
    EXPECT_EQ(common::seconds_text(2500ms), "2.5 s");
    EXPECT_EQ(common::seconds_text(1001ms), "1.001 s");
    EXPECT_EQ(common::seconds_text(20ms), "0.02 s");
}

TEST(NoAnswer, TheLineSaysWhatWhereAndWhatToDo) {
    EXPECT_EQ(
        common::no_answer_line("/run/s", 2s),
        "wispd does not answer at /run/s (waited 2 s); check it with 'systemctl status wispd', or wait longer "
        "with --timeout SECONDS");
}
