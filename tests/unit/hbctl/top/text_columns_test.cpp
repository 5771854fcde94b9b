// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tools/hbctl/top/text_columns.h"

using namespace hbctl;

TEST(TextColumns, WideCharactersHaveTwoAndCombiningOnesNone) {
    EXPECT_EQ(width_of("alpha"), 5U);
    EXPECT_EQ(width_of("größe"), 5U);
    EXPECT_EQ(width_of("日本"), 4U);
    EXPECT_EQ(width_of("e\xCC\x81"), 1U); // e and an acute accent
    EXPECT_EQ(width_of("●✗◐·○▸─…↑"), 9U);
    EXPECT_EQ(width_of("\xF0\x9F\x98\x80"), 2U); // a face
    EXPECT_EQ(width_of(""), 0U);
}

TEST(TextColumns, AByteThatIsNoUtf8IsACharacterOfOneColumn) {
    std::string_view text = "\xFF\xE2\x82";
    for (const char *bytes : {"\xFF", "\xE2", "\x82"}) {
        const Text_Character character = next_character(text);
        EXPECT_EQ(character.bytes, bytes);
        EXPECT_EQ(character.columns, 1U);
    }
    EXPECT_EQ(text, "");
}

TEST(TextColumns, TextIsCutAtACharacterAndMarked) {
    EXPECT_EQ(cut_to("alpha", 5), "alpha");
    EXPECT_EQ(cut_to("alpha", 4), "alp…");
    EXPECT_EQ(cut_to("alpha", 1), "…");
    EXPECT_EQ(cut_to("alpha", 0), "");
    EXPECT_EQ(cut_to("日本語", 4), "日…"); // the second one would end in column 4, where the mark stands
    EXPECT_EQ(cut_to("日本", 4), "日本");
}

TEST(TextColumns, FittedTextHasExactlyItsColumns) {
    EXPECT_EQ(fitted("ab", 4), "ab  ");
    EXPECT_EQ(fitted("ab", 4, Align::right), "  ab");
    EXPECT_EQ(fitted("日本語", 4), "日… ");
    EXPECT_EQ(fitted("abcdef", 4), "abc…");
}

TEST(TextColumns, InAsciiEachCharacterKeepsItsColumns) {
    EXPECT_EQ(ascii_text("● up ✗ down ◐ part"), "+ up X down % part");
    EXPECT_EQ(ascii_text("─ 日本 é…"), "- ???? ?~");
    EXPECT_EQ(ascii_text("plain"), "plain");
}
