// SPDX-License-Identifier: Apache-2.0
// Placeholders, formats and escapes of the trace's texts.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "message_text.h"

using qz_tr::Argument;
using qz_tr::fault_of_text;
using qz_tr::Line;

namespace {

std::string filled(const char *text, const std::vector<Argument> &arguments) {
    Line line;
    qz_tr::put_message(line, text, arguments);
    std::string result(line.finish());
    EXPECT_EQ(result.back(), '\n');
    result.pop_back();
    return result;
}

TEST(TraceText, ValuesAreSignedUnlessTheFormatSaysOtherwise) {
    EXPECT_EQ(filled("{1} {1:d} {1:u} {1:x}", {Argument::of_value(0xFFFFFFFE)}), "-2 -2 4294967294 0xfffffffe");
    EXPECT_EQ(filled("{1} {1:u} {1:x}", {Argument::of_value(0)}), "0 0 0x0");
    EXPECT_EQ(filled("{1}", {Argument::of_value(0x80000000)}), "-2147483648");
}

TEST(TraceText, ErrorNumbersComeWithTheirMeaning) {
    EXPECT_EQ(filled("{1:e}", {Argument::of_value(111)}), "Connection refused (111)");
    EXPECT_EQ(filled("{1:e}", {Argument::of_value(99999)}), "error 99999");
    const int error = 32;
    EXPECT_EQ(filled("{1:e}", {Argument::of_data(&error, 4)}), "Broken pipe (32)");
}

TEST(TraceText, DataIsTextWhenPrintableElseBytes) {
    EXPECT_EQ(filled("{1}", {Argument::of_data("10.0.0.1", 9)}), "10.0.0.1");
    EXPECT_EQ(filled("{1}", {Argument::of_data("10.0.0.1", 8)}), "0x31302e302e302e31");
    EXPECT_EQ(filled("{1}", {Argument::of_data("a\0b", 4)}), "0x61006200");
    EXPECT_EQ(filled("{1}", {Argument::of_data("", 1)}), "0x00");
    EXPECT_EQ(filled("{1:h}", {Argument::of_data("ab", 3)}), "0x616200");
    EXPECT_EQ(filled("{1:s}", {Argument::of_data("ab\0cd", 6)}), "ab");
    EXPECT_EQ(filled("{1:s}", {Argument::of_data("abcd", 2)}), "ab");
    EXPECT_EQ(filled("{1}{1:s}{1:u}", {Argument::of_data(nullptr, 4)}), "(empty)(empty)(empty)");
    EXPECT_EQ(filled("{1}", {Argument::of_data("abc", -1)}), "(empty)");
}

TEST(TraceText, DataOfANumbersSizeIsANumberWhenAskedFor) {
    const unsigned char bytes[8] = {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(filled("{1:d} {1:u} {1:x}", {Argument::of_data(bytes, 1)}), "-2 254 0xfe");
    EXPECT_EQ(filled("{1:d} {1:u} {1:x}", {Argument::of_data(bytes, 2)}), "-2 65534 0xfffe");
    EXPECT_EQ(filled("{1:d} {1:u} {1:x}", {Argument::of_data(bytes, 4)}), "-2 4294967294 0xfffffffe");
    EXPECT_EQ(filled("{1:d} {1:u} {1:x}", {Argument::of_data(bytes, 8)}),
              "-2 18446744073709551614 0xfffffffffffffffe");
    EXPECT_EQ(filled("{1:d}", {Argument::of_data(bytes, 3)}), "0xfeffff");
    EXPECT_EQ(filled("{1:e}", {Argument::of_data(bytes, 2)}), "0xfeff");
}

TEST(TraceText, StringsCannotBreakTheLine) {
    EXPECT_EQ(filled("<{1}>", {Argument::of_string("a\nb\tc\\d\x1b\xc3\xa4\x7f")}),
              "<a\\nb\\tc\\\\d\\x1b\\xc3\\xa4\\x7f>");
    EXPECT_EQ(filled("<{1}>", {Argument::of_string("")}), "<>");
    EXPECT_EQ(filled("<{1:d}>", {Argument::of_string("x")}), "<x>");
}

TEST(TraceText, ArgumentsMayStandInAnyOrderAndDoubledBracesAreBraces) {
    EXPECT_EQ(filled("{{{2}}} {1} {2}", {Argument::of_value(1), Argument::of_value(2)}), "{2} 1 2");
}

TEST(TraceText, ArgumentsThatTheTextDoesNotNameFollowIt) {
    EXPECT_EQ(filled("node {2}", {Argument::of_value(1), Argument::of_value(2), Argument::of_string("c")}),
              "node 2 [1=1 3=c]");
    EXPECT_EQ(filled("plain", {Argument::of_value(9)}), "plain [1=9]");
}

TEST(TraceText, APlaceholderWithoutItsArgumentSaysSo) {
    EXPECT_EQ(filled("{1} and {2}", {Argument::of_value(1)}), "1 and (not recorded)");
}

TEST(TraceText, FaultsOfTextsAreSeen) {
    for (const char *sound : {"plain", "{1}", "{32:d}", "{1:u}{1:x}{1:e}{1:s}{1:h}", "{{", "}}", "a {{1}} b"}) {
        EXPECT_EQ(fault_of_text(sound), nullptr) << sound;
    }
    for (const char *faulty : {"", "{", "}", "{}", "{0}", "{33}", "{4294967297}", "{1", "{1:", "{1:}", "{1:q}",
                               "{1:dd}", "{a}", "{1:d", "a } b", "tab\there"}) {
        EXPECT_NE(fault_of_text(faulty), nullptr) << faulty;
    }
}

TEST(TraceText, ALineIsCutAt4096BytesWithItsNewline) {
    Line line;
    line.put(std::string(4092, 'a'));
    EXPECT_EQ(std::string(line.finish()), std::string(4092, 'a') + "\n");
    Line longer;
    longer.put(std::string(4093, 'a'));
    EXPECT_EQ(std::string(longer.finish()), std::string(4092, 'a') + "...\n");
}

} // namespace
