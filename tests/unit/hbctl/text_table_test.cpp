#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/hbctl/text_table.h"
#include "tools/hbctl/text_width.h"

using namespace hbctl;
using testing::ElementsAre;

TEST(HbctlTextTable, ColumnsAreAsWideAsTheirWidestCell) {
    Text_Table table({{"N", Align::right}, {"NAME"}, {"UP", Align::right}});
    table.add({"100", "a", "1"});
    table.add({"2", "longer", "22"});
    EXPECT_THAT(table.lines(), ElementsAre("  N  NAME    UP", "100  a        1", "  2  longer  22"));
}

TEST(HbctlTextTable, LinesEndWithoutBlanks) {
    Text_Table table({{"A"}, {"LAST"}});
    table.add({"1", ""});
    EXPECT_THAT(table.lines(), ElementsAre("A  LAST", "1"));
}

TEST(HbctlTextTable, WidthIsInCharactersNotBytes) {
    Text_Table table({{"NAME"}, {"X"}});
    table.add({"n\xC3\xA4ts\xC3\xA4", "1"});
    table.add({"netsa", "2"});
    EXPECT_THAT(table.lines(), ElementsAre("NAME   X", "n\xC3\xA4ts\xC3\xA4  1", "netsa  2"));
}

TEST(HbctlTextTable, ATableWithoutRowsIsItsHeading) {
    EXPECT_THAT(Text_Table({{"A"}, {"B"}}).lines(), ElementsAre("A  B"));
}

namespace {

Text_Table sample() {
    Text_Table table({{"N", Align::right}, {"STATE", Align::left, true}, {"LIST"}});
    table.add({"1", "up", "10.1.0.1, 10.2.0.1"});
    table.add({"20", "down", "-"});
    return table;
}

} // namespace

TEST(HbctlTextTable, HeadingsCanBeOmitted) {
    Table_Style style;
    style.headings = false;
    EXPECT_THAT(sample().lines(style), ElementsAre(" 1  up    10.1.0.1, 10.2.0.1", "20  down  -"));
}

TEST(HbctlTextTable, ColumnsAreThoseThatAreWantedInTheirOrder) {
    Table_Style style;
    style.columns = {"STATE", "N", "STATE"};
    EXPECT_THAT(sample().lines(style), ElementsAre("STATE   N  STATE", "up      1  up", "down   20  down"));
}

TEST(HbctlTextTable, LinesAreCutToTheWidthBehindAnElementOfAList) {
    Table_Style style;
    style.width = 27;
    EXPECT_THAT(sample().lines(style),
                ElementsAre(" N  STATE  LIST", " 1  up     10.1.0.1, ...", "20  down   -"));
    style.width = 8;
    EXPECT_THAT(sample().lines(style), ElementsAre(" N  S...", " 1  up", "20  down"));
    style.width = 1;
    for (const std::string &line : sample().lines(style)) {
        EXPECT_LE(line.size(), 1U) << line;
    }
    style.width = 29;
    EXPECT_THAT(sample().lines(style),
                ElementsAre(" N  STATE  LIST", " 1  up     10.1.0.1, 10.2.0.1", "20  down   -"));
}

TEST(HbctlTextTable, OnlyStatesHaveColours) {
    Text_Table table({{"NAME"}, {"STATE", Align::left, true}, {"X"}});
    table.add({"up", "up", "1"});
    table.add({"down", "down", "2"});
    table.add({"b", "unknown", "3"});
    Table_Style style;
    style.colours = true;
    EXPECT_THAT(table.lines(style), ElementsAre("NAME  STATE    X", "up    \x1b[32mup\x1b[0m       1",
                                                "down  \x1b[31mdown\x1b[0m     2", "b     unknown  3"));
}

TEST(HbctlTextTable, CellsCannotSteerATerminal) {
    Text_Table table({{"NAME"}, {"X"}});
    table.add({"a\x1b[2J\n", "1"});
    EXPECT_THAT(table.lines(), ElementsAre("NAME          X", "a\\x1B[2J\\x0A  1"));
}

TEST(HbctlTextWidth, CountsColumnsOfATerminal) {
    EXPECT_EQ(width_of("abc"), 3U);
    EXPECT_EQ(width_of("n\xC3\xA4t"), 3U);
    EXPECT_EQ(width_of("\xE6\x9D\xB1\xE4\xBA\xAC"), 4U);
    EXPECT_EQ(width_of("e\xCC\x81"), 1U);
    EXPECT_EQ(width_of("\xF0\x9F\x98\x80"), 2U);
    EXPECT_EQ(width_of("\xC3"), 1U);
    EXPECT_EQ(width_of(""), 0U);
}

TEST(HbctlTextWidth, ShortensWholeCharactersAndMarksIt) {
    EXPECT_EQ(shortened("abcdef", 6), "abcdef");
    EXPECT_EQ(shortened("abcdefg", 6), "abc...");
    EXPECT_EQ(shortened("abcdefg", 3), "abc");
    EXPECT_EQ(shortened("abcdefg", 0), "");
    EXPECT_EQ(shortened("a, b, c, d", 8), "a, ...");
    EXPECT_EQ(shortened("\xE6\x9D\xB1\xE4\xBA\xAC\xE6\x9D\xB1", 5), "\xE6\x9D\xB1...");
    EXPECT_EQ(shortened("\xE6\x9D\xB1\xE4\xBA\xAC\xE6\x9D\xB1", 4), "...");
}
