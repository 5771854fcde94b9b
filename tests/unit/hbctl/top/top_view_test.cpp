// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tools/hbctl/top/top_view.h"

using namespace hbctl;

namespace {

// 30 rows of which 10 are shown, and 8 networks of which 5 are shown.
constexpr Scroll_Range RANGE{30, 10, 0, 8, 5, 0};

Wish type(const std::string &text, Top_View &view) {
    return press({Key::character, text}, RANGE, view);
}

void hit(Key key, Top_View &view) {
    EXPECT_EQ(press({key, ""}, RANGE, view), Wish::none);
}

} // namespace

TEST(TopKeys, QEndsAlsoFromTheHelp) {
    Top_View view;
    EXPECT_EQ(type("q", view), Wish::quit);
    EXPECT_EQ(type("h", view), Wish::none);
    EXPECT_TRUE(view.help);
    EXPECT_EQ(type("q", view), Wish::quit);
}

TEST(TopKeys, HelpIsShownAndHidden) {
    Top_View view;
    type("?", view);
    EXPECT_TRUE(view.help);
    type("h", view);
    EXPECT_FALSE(view.help);
    type("h", view);
    hit(Key::escape, view);
    EXPECT_FALSE(view.help);
}

TEST(TopKeys, FilterAndSortGoRoundTheirChoices) {
    Top_View view;
    view.scroll = 5;
    type("f", view);
    EXPECT_EQ(view.filter, Filter::problems);
    EXPECT_EQ(view.scroll, 0U);
    type("f", view);
    EXPECT_EQ(view.filter, Filter::local);
    type("f", view);
    EXPECT_EQ(view.filter, Filter::all);
    type("s", view);
    EXPECT_EQ(view.sort, Sort::state);
    type("s", view);
    EXPECT_EQ(view.sort, Sort::name);
    type("s", view);
    EXPECT_EQ(view.sort, Sort::number);
}

TEST(TopKeys, WhileTheSearchIsTypedLettersAreNoCommands) {
    Top_View view;
    type("/", view);
    EXPECT_TRUE(view.typing);
    EXPECT_EQ(type("q", view), Wish::none);
    type("h", view);
    type("日", view);
    EXPECT_EQ(view.search, "qh日");
    EXPECT_FALSE(view.help);
    hit(Key::erase, view);
    EXPECT_EQ(view.search, "qh");
    hit(Key::enter, view);
    EXPECT_FALSE(view.typing);
    EXPECT_EQ(view.search, "qh");
    EXPECT_EQ(type("q", view), Wish::quit);
}

TEST(TopKeys, EscapeEndsTheSearchAndTheFilter) {
    Top_View view;
    type("/", view);
    type("x", view);
    hit(Key::escape, view);
    EXPECT_FALSE(view.typing);
    EXPECT_EQ(view.search, "");
    type("/", view);
    type("x", view);
    hit(Key::enter, view);
    type("f", view);
    hit(Key::escape, view);
    EXPECT_EQ(view.search, "");
    EXPECT_EQ(view.filter, Filter::all);
}

TEST(TopKeys, ASearchHasABound) {
    Top_View view;
    type("/", view);
    for (int i = 0; i < 100; ++i) {
        type("x", view);
    }
    EXPECT_EQ(view.search.size(), 30U);
}

TEST(TopKeys, ScrollingStaysInTheList) {
    Top_View view;
    hit(Key::up, view);
    EXPECT_EQ(view.scroll, 0U);
    hit(Key::down, view);
    EXPECT_EQ(view.scroll, 1U);
    hit(Key::page_down, view);
    EXPECT_EQ(view.scroll, 10U);
    hit(Key::end, view);
    EXPECT_EQ(view.scroll, 20U);
    hit(Key::page_down, view);
    EXPECT_EQ(view.scroll, 20U);
    hit(Key::page_up, view);
    EXPECT_EQ(view.scroll, 11U);
    type("k", view);
    EXPECT_EQ(view.scroll, 10U);
    type("j", view);
    type(" ", view);
    EXPECT_EQ(view.scroll, 20U);
    type("g", view);
    EXPECT_EQ(view.scroll, 0U);
    type("G", view);
    EXPECT_EQ(view.scroll, 20U);
    type("b", view);
    EXPECT_EQ(view.scroll, 11U);
    hit(Key::home, view);
    EXPECT_EQ(view.scroll, 0U);
}

TEST(TopKeys, OtherNetworksStayInTheirRange) {
    Top_View view;
    hit(Key::left, view);
    EXPECT_EQ(view.first_network, 0U);
    for (int i = 0; i < 9; ++i) {
        hit(Key::right, view);
    }
    EXPECT_EQ(view.first_network, 3U);
}

TEST(TopKeys, AListThatBecameShorterIsScrolledFromItsEnd) {
    Top_View view;
    view.scroll = 25;
    press({Key::up, ""}, {12, 10, 2, 0, 0, 0}, view);
    EXPECT_EQ(view.scroll, 1U);
}
