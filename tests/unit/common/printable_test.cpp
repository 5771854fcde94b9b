// SPDX-License-Identifier: Apache-2.0
// Nothing that steers a terminal, or misleads who reads it, gets through.
#include <string>

#include <gtest/gtest.h>

#include "common/printable.h"

namespace {

using terminal::printable;
using terminal::printable_json;
using std::string_literals::operator""s;

std::string utf8(unsigned code) {
    const auto byte = [](unsigned bits) { return static_cast<char>(bits); };
    if (code < 0x80) {
        return {byte(code)};
    }
    if (code < 0x800) {
        return {byte(0xC0 | code >> 6), byte(0x80 | (code & 0x3F))};
    }
    if (code < 0x10000) {
        return {byte(0xE0 | code >> 12), byte(0x80 | (code >> 6 & 0x3F)), byte(0x80 | (code & 0x3F))};
    }
    return {byte(0xF0 | code >> 18), byte(0x80 | (code >> 12 & 0x3F)), byte(0x80 | (code >> 6 & 0x3F)),
            byte(0x80 | (code & 0x3F))};
}

TEST(Printable, LeavesPlainTextAsItIs) {
    const std::string text = "node 3 ~ K\xc3\xb6ln \xe6\x97\xa5\xe6\x9c\xac \xf0\x9f\x98\x80 \\x41";
    EXPECT_EQ(text, printable(text));
    EXPECT_EQ("", printable(""));
}

TEST(Printable, ShowsC0AndDelAsTheirBytes) {
    EXPECT_EQ("a\\x00b\\x09c\\x7F", printable("a\0b\tc\x7f"s));
    EXPECT_EQ("\\x1B[2J\\x0D\\x0A\\x07", printable("\x1b[2J\r\n\a"));
    for (unsigned code = 0; code < 0x20; ++code) {
        EXPECT_EQ(4U, printable(utf8(code)).size()) << code;
    }
}

TEST(Printable, ShowsC1AsItsBytes) {
    for (unsigned code = 0x80; code < 0xA0; ++code) {
        EXPECT_EQ("\\xC2", printable(utf8(code)).substr(0, 4)) << code;
    }
    EXPECT_EQ("\\xC2\\x9B31m", printable("\xc2\x9b"
                                         "31m"));
    EXPECT_EQ("\xc2\xa0", printable("\xc2\xa0")) << "the first behind them is no control";
}

TEST(Printable, ShowsEachBidirectionalControlAsItsBytesAndItsNeighboursAsTheyAre) {
    for (const unsigned code : {0x061CU, 0x200EU, 0x200FU, 0x202AU, 0x202BU, 0x202CU, 0x202DU, 0x202EU, 0x2066U,
                                0x2067U, 0x2068U, 0x2069U}) {
        EXPECT_EQ('\\', printable(utf8(code))[0]) << std::hex << code;
    }
    EXPECT_EQ("\\xE2\\x80\\xAE", printable("\u202e"));
    for (const unsigned code : {0x061BU, 0x061DU, 0x200DU, 0x2010U, 0x2029U, 0x202FU, 0x2065U, 0x206AU}) {
        EXPECT_EQ(utf8(code), printable(utf8(code))) << std::hex << code;
    }
}

TEST(Printable, ShowsEachByteOfWhatIsNoUtf8) {
    EXPECT_EQ("a\\xFFb", printable("a\xff"
                                   "b"));
    EXPECT_EQ("\\x80\\xBF", printable("\x80\xbf")) << "nothing that these go on with";
    EXPECT_EQ("\\xC3x", printable("\xc3x")) << "cut short by another character";
    EXPECT_EQ("\\xE6\\x97", printable("\xe6\x97")) << "cut short by the end";
    EXPECT_EQ("\\xC0\\x9B", printable("\xc0\x9b")) << "longer than the code needs";
    EXPECT_EQ("\\xE0\\x82\\x9B", printable("\xe0\x82\x9b"));
    EXPECT_EQ("\\xF0\\x80\\x82\\x9B", printable("\xf0\x80\x82\x9b"));
    EXPECT_EQ("\\xED\\xA0\\x80", printable("\xed\xa0\x80")) << "a surrogate";
    EXPECT_EQ("\\xF4\\x90\\x80\\x80", printable("\xf4\x90\x80\x80")) << "beyond Unicode";
    EXPECT_EQ("\\xF8\\x88\\x80\\x80\\x80", printable("\xf8\x88\x80\x80\x80"));
    EXPECT_EQ("\\xC2\xc3\xb6", printable("\xc2\xc3\xb6")) << "what follows is read anew";
}

TEST(Printable, TwiceIsOnce) {
    const std::string once = printable("\x1b\u202e\xff \\");
    EXPECT_EQ(once, printable(once));
}

TEST(PrintableJson, EscapesAsJsonDoesAndKeepsLayoutAndText) {
    EXPECT_EQ("{\n  \"a\": \"K\xc3\xb6ln\\n\"\n}", printable_json("{\n  \"a\": \"K\xc3\xb6ln\\n\"\n}"));
    EXPECT_EQ("\"\\u007F\\u009B\\u202E\\u061C\"", printable_json("\"\x7f\xc2\x9b\u202e\u061c\""));
}

TEST(PrintableLines, KeepEndsOfLinesAlone) {
    EXPECT_EQ("a\\x1B\nb\\x0D\n\n\\x9", terminal::printable_lines("a\x1b\nb\r\n\n\\x9"));
    EXPECT_EQ("", terminal::printable_lines(""));
    EXPECT_EQ("\n", terminal::printable_lines("\n"));
}

} // namespace
