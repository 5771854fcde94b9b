// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/hbctl/text_table.h"

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
