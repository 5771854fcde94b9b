// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/hbctl/member_word.h"

using namespace hbctl;
using testing::ElementsAre;

TEST(HbctlMemberWord, DigitsAreAlwaysANumber) {
    EXPECT_EQ(member_word("7"), (Member_Word{7, ""}));
    EXPECT_EQ(member_word("007"), (Member_Word{7, ""}));
    EXPECT_EQ(member_word("7a"), (Member_Word{0, "7a"}));
    EXPECT_EQ(word_text(member_word("7")), "7");
    EXPECT_EQ(word_text(member_word("alpha/net_a")), "alpha/net_a");
}

TEST(HbctlMemberWord, NumbersHaveARangeAndNamesHaveNone) {
    EXPECT_EQ(complaint_about_member("10", 10), "");
    EXPECT_EQ(complaint_about_member("alpha", 10), "");
    EXPECT_EQ(complaint_about_member("11", 10), "'11' is not a number from 0 to 10");
    EXPECT_EQ(complaint_about_member("-1", 10), "'-1' is not a number from 0 to 10");
    EXPECT_EQ(complaint_about_member("+1", 10), "'+1' is not a number from 0 to 10");
    EXPECT_EQ(complaint_about_member("4294967296", 10), "'4294967296' is not a number from 0 to 10");
    EXPECT_EQ(complaint_about_member("", 10), "a number or a name is empty");
}

TEST(HbctlMemberWord, AListHasNumbersRangesAndNames) {
    EXPECT_THAT(
        parse_member_list("1,alpha,5-6", 10).members,
        ElementsAre(Member_Word{1, ""}, Member_Word{0, "alpha"}, Member_Word{5, ""}, Member_Word{6, ""}));
    EXPECT_THAT(parse_member_list("node-3", 10).members, ElementsAre(Member_Word{0, "node-3"}));
    EXPECT_THAT(parse_member_list("5-7x", 10).members, ElementsAre(Member_Word{0, "5-7x"}));
}

TEST(HbctlMemberWord, EveryFlawOfAListIsNamed) {
    EXPECT_EQ(parse_member_list("1,,2", 10).complaint, "'' is not a number or a range such as 5-7");
    EXPECT_EQ(parse_member_list("", 10).complaint, "'' is not a number or a range such as 5-7");
    EXPECT_EQ(parse_member_list("alpha,", 10).complaint, "'' is not a number or a range such as 5-7");
    EXPECT_EQ(parse_member_list("-3", 10).complaint, "'-3' is not a number or a range such as 5-7");
    EXPECT_EQ(parse_member_list("5-4", 10).complaint, "'5-4' is a range that ends before it begins");
    EXPECT_EQ(parse_member_list("11", 10).complaint, "'11' is out of range: the highest number is 10");
}
