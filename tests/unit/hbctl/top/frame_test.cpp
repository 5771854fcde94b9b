// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tools/hbctl/top/frame.h"

using namespace hbctl;

TEST(TopFrame, ALineCutsWhatDoesNotFit) {
    Text_Line line(8);
    line.add("abc").add("defghij", Style::down);
    EXPECT_EQ(line.text(), "abcdefg…");
    EXPECT_EQ(line.left(), 0U);
    line.add("more");
    EXPECT_EQ(line.text(), "abcdefg…");
    ASSERT_EQ(line.spans().size(), 2U);
    EXPECT_EQ(line.spans()[1].column, 3U);
    EXPECT_EQ(line.spans()[1].style, Style::down);
}

TEST(TopFrame, TextAtTheRightNeedsItsGap) {
    Text_Line line(10);
    line.add("abcd");
    EXPECT_FALSE(line.add_at_right("12345", Style::plain, 2));
    EXPECT_EQ(line.text(), "abcd");
    EXPECT_TRUE(line.add_at_right("1234", Style::plain, 2));
    EXPECT_EQ(line.text(), "abcd  1234");
}

TEST(TopFrame, AColumnIsReachedWithBlanksAndNeverBackwards) {
    Text_Line line(10);
    line.move_to(3).add("x").move_to(2).add("y");
    EXPECT_EQ(line.text(), "   xy");
}

TEST(TopFrame, TheTextHasALineEndForEachLineAndNoBlanksBeforeIt) {
    Frame frame;
    frame.lines.emplace_back(5);
    frame.lines.back().add("ab  ");
    frame.lines.emplace_back(5);
    EXPECT_EQ(frame_text(frame), "ab\n\n");
}
