// SPDX-License-Identifier: Apache-2.0
// The grammar of QZ_TR_LEVELS.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "levels.h"

using testing::HasSubstr;

namespace {

constexpr tr_category_description_t CATEGORIES[] = {{0, "Errors", 0, 0}, {1, "Info", 1, 0}, {2, "Debug", 2, 0}};

std::string levels(const char *value, const char *component = "_HBC") {
    const qz_tr::Level_Settings wanted = qz_tr::parse_levels(value);
    EXPECT_TRUE(wanted.faults.empty()) << value << ": " << wanted.faults.front().what;
    std::string result;
    for (const tr_category_description_t &category : CATEGORIES) {
        result += std::to_string(qz_tr::level_of(wanted.settings, component, category)) + " ";
    }
    return result;
}

TEST(TraceLevels, WhatIsNotNamedHasItsDefault) {
    EXPECT_EQ(levels(""), "0 1 2 ");
    EXPECT_EQ(levels("default"), "0 1 2 ");
    EXPECT_EQ(levels("Errors=1"), "1 1 2 ");
}

TEST(TraceLevels, ABareNumberIsForAll) {
    EXPECT_EQ(levels("3"), "3 3 3 ");
    EXPECT_EQ(levels("0"), "0 0 0 ");
    EXPECT_EQ(levels("255"), "255 255 255 ");
    EXPECT_EQ(levels("*=4"), "4 4 4 ");
}

TEST(TraceLevels, LaterSettingsWin) {
    EXPECT_EQ(levels("0,Errors=1"), "1 0 0 ");
    EXPECT_EQ(levels("Errors=1,0"), "0 0 0 ");
    EXPECT_EQ(levels("9,Debug=default"), "9 9 2 ");
    EXPECT_EQ(levels("Info=2,Errors=1"), "1 2 2 ");
}

TEST(TraceLevels, AComponentHoldsUpToTheNextOneOrTheNextSemicolon) {
    EXPECT_EQ(levels("_HBC:Errors=1,Info=1,Debug=0"), "1 1 0 ");
    EXPECT_EQ(levels("_HBC:Errors=1,Info=1,Debug=0", "other"), "0 1 2 ");
    EXPECT_EQ(levels("_HBC:Errors=1,other:Info=7,Debug=8"), "1 1 2 ");
    EXPECT_EQ(levels("_HBC:Errors=1,other:Info=7,Debug=8", "other"), "0 7 8 ");
    EXPECT_EQ(levels("_HBC:Errors=1;Info=7", "other"), "0 7 2 ");
    EXPECT_EQ(levels("other:5"), "0 1 2 ");
    EXPECT_EQ(levels("_HBC:5"), "5 5 5 ");
}

TEST(TraceLevels, BlanksAndEmptyItemsMeanNothing) {
    EXPECT_EQ(levels("  _HBC : Errors = 1 ,, Info = 4 ; "), "1 4 2 ");
}

TEST(TraceLevels, TheMinimumIsKeptAndNoLevelPasses255) {
    const tr_category_description_t needed{0, "Needed", 1, 3};
    const tr_category_description_t large{0, "Large", 1000, 0};
    EXPECT_EQ(qz_tr::level_of(qz_tr::parse_levels("0").settings, "c", needed), 3);
    EXPECT_EQ(qz_tr::level_of(qz_tr::parse_levels("").settings, "c", needed), 3);
    EXPECT_EQ(qz_tr::level_of(qz_tr::parse_levels("7").settings, "c", needed), 7);
    EXPECT_EQ(qz_tr::level_of(qz_tr::parse_levels("").settings, "c", large), 255);
}

struct Malformed {
    const char *value;
    std::size_t column;
    const char *what;
};

TEST(TraceLevels, MalformedSettingsAreNamedWithTheirPlaceAndLeftOut) {
    const Malformed cases[] = {
        {"Info=x,Errors=1", 1, "\"Info=x\": \"x\" is not a level from 0 to 255"},
        {"Errors=1, Info=256", 11, "\"Info=256\": \"256\" is not a level"},
        {"Errors=1,Info=", 10, "\"Info=\" has no level"},
        {"Errors=1,Info=-1", 10, "\"-1\" is not a level"},
        {"Errors=1,Info=1x", 10, "\"1x\" is not a level"},
        {"Errors=1,=1", 10, "has no category before its equals sign"},
        {"Errors=1,:Info=1", 10, "has no component before its colon"},
        {"Errors=1,Info", 10, "\"Info\" is not a level"},
        {"Errors=1,Info=99999999999999999999", 10, "is not a level"},
        {"Errors=1;_HBC:", 10, "\"_HBC:\" has no level"},
    };
    for (const Malformed &c : cases) {
        const qz_tr::Level_Settings wanted = qz_tr::parse_levels(c.value);
        ASSERT_EQ(wanted.faults.size(), 1u) << c.value;
        EXPECT_EQ(wanted.faults[0].column, c.column) << c.value;
        EXPECT_THAT(wanted.faults[0].what, HasSubstr(c.what));
        EXPECT_EQ(qz_tr::level_of(wanted.settings, "_HBC", CATEGORIES[0]), 1) << c.value;
        EXPECT_EQ(qz_tr::level_of(wanted.settings, "_HBC", CATEGORIES[1]), 1) << c.value;
    }
}

TEST(TraceLevels, UnknownCategoriesAreNamedForTheComponentThatIsMeant) {
    const qz_tr::Level_Settings wanted = qz_tr::parse_levels("Errors=1,_HBC:errors=1,other:Quiet=0");
    const auto unknown = qz_tr::unknown_categories(wanted.settings, "_HBC", CATEGORIES);
    ASSERT_EQ(unknown.size(), 1u);
    EXPECT_EQ(unknown[0].column, 10u);
    EXPECT_EQ(unknown[0].what,
              "component \"_HBC\" has no category \"errors\", but \"Errors\", \"Info\", \"Debug\"");
}

} // namespace
