// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "cluster/description/config_error.h"
#include "cluster/description/toml_hazards.h"
#include "cluster/description/toml_reader.h"

namespace {

using wispd::find_toml_hazard;

std::string repeated(const std::string &piece, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += piece;
    }
    return all;
}

bool is_deep(const std::string &document) {
    return find_toml_hazard(document).has_value();
}

TEST(WispdTomlNesting, CountsArraysAndInlineTables) {
    EXPECT_FALSE(is_deep("x = " + repeated("[", 32) + repeated("]", 32)));
    EXPECT_TRUE(is_deep("x = " + repeated("[", 33) + repeated("]", 33)));
    EXPECT_FALSE(is_deep("x = " + repeated("{a=", 32) + "1" + repeated("}", 32)));
    EXPECT_TRUE(is_deep("x = " + repeated("{a=", 33) + "1" + repeated("}", 33)));
    EXPECT_TRUE(is_deep("x = " + repeated("[\n", 33)));
}

TEST(WispdTomlNesting, CountsDottedKeysWhereverTheyStand) {
    EXPECT_FALSE(is_deep("a" + repeated(".a", 32) + " = 1"));
    EXPECT_TRUE(is_deep("a" + repeated(".a", 33) + " = 1"));
    EXPECT_FALSE(is_deep("[a" + repeated(".a", 31) + "]\nb = 1"));
    EXPECT_TRUE(is_deep("[a" + repeated(".a", 31) + "]\nb.c = 1"));
    EXPECT_TRUE(is_deep("[[a" + repeated(".a", 31) + "]]\nb = [1]"));
    EXPECT_TRUE(is_deep("x = [{a" + repeated(".a", 15) + " = [{a" + repeated(".a", 15) + " = 1}]}]"));
    EXPECT_TRUE(is_deep("x = [\n{ a" + repeated(" . a", 31) + " = 1}]"));
}

TEST(WispdTomlNesting, CountsNothingTwiceThatStandsSideBySide) {
    EXPECT_FALSE(is_deep(repeated("[a.b.c]\nd.e.f = 1\ng = [[1.5, 2.5], [{h.i = 1}, {j.k = 2}]]\n", 100)));
    EXPECT_FALSE(is_deep("x = [" + repeated("1.5, ", 100) + "]"));
    EXPECT_FALSE(is_deep("x = [" + repeated("[], {}, ", 100) + "]"));
}

TEST(WispdTomlNesting, CountsNothingInTextsAndComments) {
    const std::string brackets = repeated("[{.", 100);
    for (const std::string quote : {"\"", "'", "\"\"\"", "'''"}) {
        EXPECT_FALSE(is_deep("x = " + quote + brackets + quote)) << quote;
        EXPECT_TRUE(is_deep("x = [" + quote + brackets + quote + "," + brackets)) << quote << " ends there";
    }
    EXPECT_FALSE(is_deep("# " + brackets + "\nx = 1 # " + brackets));
    EXPECT_FALSE(is_deep("\"" + brackets + "\" = 1"));
}

TEST(WispdTomlNesting, FindsTheEndOfATextWhereTheParserFindsIt) {
    const std::string deep = repeated("[", 40);
    EXPECT_TRUE(is_deep("x = [\"a\\\\\", " + deep)) << "an escaped backslash";
    EXPECT_FALSE(is_deep("x = [\"a\\\", " + deep + "\"]")) << "an escaped quote";
    EXPECT_TRUE(is_deep("x = ['a\\', " + deep)) << "no escape at all";
    for (const std::string quote : {"\"", "'"}) {
        const std::string three = repeated(quote, 3);
        EXPECT_TRUE(is_deep("x = [" + three + "a" + three + quote + ", " + deep)) << "a quote within";
        EXPECT_TRUE(is_deep("x = [" + three + "a" + three + quote + quote + ", " + deep)) << "two within";
        EXPECT_TRUE(is_deep("x = [" + three + three + ", " + deep)) << "an empty one";
        EXPECT_TRUE(is_deep("x = [" + quote + quote + ", " + deep)) << "an empty one in a line";
        EXPECT_FALSE(is_deep("x = [" + three + "a\n" + quote + quote + "\n" + deep)) << "never ended";
    }
    EXPECT_TRUE(is_deep("x = [\"\"\"a\\\"\"\"\", " + deep)) << "an escaped quote before the end";
}

TEST(WispdTomlNesting, SurvivesWhatIsNoToml) {
    for (const std::string document :
         {"", "\"", "\"\\", "'''", "\"\"\"\\", "]]}}", "a.", "#", "=", "x = \"\n\""}) {
        EXPECT_FALSE(is_deep(document)) << document;
    }
}

TEST(WispdTomlNesting, TellsThePlace) {
    const auto place = find_toml_hazard("a = 1\nb = [\n" + repeated("[", 40));
    ASSERT_TRUE(place);
    EXPECT_EQ(3U, place->line);
    EXPECT_EQ(32U, place->column);
}

// The parser's result for each of these would overflow the stack, during parsing or when it is destroyed.
TEST(WispdTomlNesting, IsRefusedBeforeItIsParsed) {
    const std::string key = "a" + repeated(".a", 8000);
    for (const std::string &document :
         {"x = [\n" + repeated("{" + key + " = [\n", 200), "x = {" + key + "=1}", repeated("[", 15000)}) {
        try {
            wispd::parse_toml(document, "f.toml");
            ADD_FAILURE() << document.substr(0, 60);
        } catch (const wispd::Config_Error &error) {
            EXPECT_NE(nullptr, error.what());
        }
    }
    try {
        wispd::parse_toml("x = {" + key + "=1}", "f.toml");
    } catch (const wispd::Config_Error &error) {
        EXPECT_STREQ(
            "f.toml:1:69: tables and arrays are nested deeper than 32 levels; each part of a dotted key "
            "counts as one",
            error.what());
    }
}

// The parser would assume that there is a key.
TEST(WispdTomlNesting, HeadersWithoutANameAreRefusedBeforeTheyAreParsed) {
    for (const char *document : {"[", "[[", "[[[", "[[=", "[=", "[[ [x", "[\n", "[[\n", "[[[x]]]",
                                 "[[ =", "[ =", "[[.", "[]", "[\xc3\xa4]", "[ ]", "x = 1\n[[#"}) {
        try {
            wispd::parse_toml(document, "f.toml");
            ADD_FAILURE() << document;
        } catch (const wispd::Config_Error &error) {
            EXPECT_NE(nullptr, std::strstr(error.what(), "f.toml:")) << document;
        }
    }
    try {
        wispd::parse_toml("x = 1\n[ =", "f.toml");
        ADD_FAILURE();
    } catch (const wispd::Config_Error &error) {
        EXPECT_STREQ("f.toml:2:1: a table header needs a name between its brackets", error.what());
    }
    for (const char *document :
         {"[a]", "[[a]]", "[ 'a' ]", "[[ \"a\".b ]]", "[-]", "[_1]", "[7.x]", "x = [[1], []]"}) {
        EXPECT_NO_THROW(wispd::parse_toml(document, "f.toml")) << document;
    }
}

} // namespace
