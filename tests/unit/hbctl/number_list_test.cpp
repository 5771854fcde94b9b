// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/hbctl/number_list.h"

using hbctl::parse_number_list;
using testing::ElementsAre;

TEST(HbctlNumberList, NumbersAndRangesInTheOrderGiven) {
    EXPECT_THAT(parse_number_list("7", 10).numbers, ElementsAre(7U));
    EXPECT_THAT(parse_number_list("3,1-2,3-3", 10).numbers, ElementsAre(3U, 1U, 2U, 3U));
    EXPECT_THAT(parse_number_list("0-10", 10).numbers, testing::SizeIs(11));
}

TEST(HbctlNumberList, EveryFlawIsNamed) {
    EXPECT_EQ(parse_number_list("1,,2", 10).complaint, "'' is not a number or a range such as 5-7");
    EXPECT_EQ(parse_number_list("", 10).complaint, "'' is not a number or a range such as 5-7");
    EXPECT_EQ(parse_number_list("1,2x", 10).complaint, "'2x' is not a number or a range such as 5-7");
    EXPECT_EQ(parse_number_list("-3", 10).complaint, "'-3' is not a number or a range such as 5-7");
    EXPECT_EQ(parse_number_list("3-", 10).complaint, "'3-' is not a number or a range such as 5-7");
    EXPECT_EQ(parse_number_list("1-2-3", 10).complaint, "'1-2-3' is not a number or a range such as 5-7");
    EXPECT_EQ(parse_number_list("5-4", 10).complaint, "'5-4' is a range that ends before it begins");
    EXPECT_EQ(parse_number_list("11", 10).complaint, "'11' is out of range: the highest number is 10");
    EXPECT_EQ(parse_number_list("0-4294967295", 10).complaint,
              "'0-4294967295' is out of range: the highest number is 10");
    EXPECT_EQ(parse_number_list("4294967296", 10).complaint,
              "'4294967296' is not a number or a range such as 5-7");
}

TEST(HbctlNumberList, ASoundListHasNoComplaint) {
    EXPECT_EQ(parse_number_list("0,10", 10).complaint, "");
}
