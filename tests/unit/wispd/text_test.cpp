// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "host/text.h"

namespace {

TEST(WispdText, ListsHaveAnEnd) {
    EXPECT_EQ(wispd::list_of("nodes", {}), "");
    EXPECT_EQ(wispd::list_of("nodes", {3, -1}), "nodes: 3 -1");
    EXPECT_EQ(wispd::list_of("n", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}),
              "n: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16");
    EXPECT_EQ(wispd::list_of("n", std::vector<int64_t>(18, 7)),
              "n: 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 and 2 more");
}

} // namespace
