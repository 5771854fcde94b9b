// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "common/heartbeat_words.h"

namespace {

TEST(HeartbeatWords, HaveTheStateAndTheThresholdWithoutNeedlessDigits) {
    EXPECT_EQ(common::heartbeat_words(true, 2, 500000), "enabled, threshold 2.5 s");
    EXPECT_EQ(common::heartbeat_words(false, 10, 0), "disabled, threshold 10 s");
    EXPECT_EQ(common::heartbeat_words(true, 0, 1), "enabled, threshold 0.000001 s");
    EXPECT_EQ(common::heartbeat_words(true, 0, 0), "enabled, threshold 0 s");
}

} // namespace
