// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform_child.h"

extern "C" int c_caller_uses_every_library(void);

TEST(PlatformFromC, EveryLibraryCanBeUsed) {
    const Child_Result child = in_child({}, [] { say(std::to_string(c_caller_uses_every_library())); });
    EXPECT_EQ(child.said, "0");
}
