// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/printable.h"
#include "hb_client.h"
#include "tests/unit/hbctl/top/sample_model.h"
#include "tools/hbctl/plain_text.h"
#include "tools/hbctl/top/render_top.h"

using namespace hbctl;
using namespace hbctl_test;
using std::chrono::seconds;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// The C library's opinion of a line's width, which owes nothing to the code under test; -1: not printable.
int columns_in_terminal(const std::string &line) {
    std::wstring wide(line.size() + 1, L'\0');
    const std::size_t count = std::mbstowcs(wide.data(), line.c_str(), wide.size());
    return count == static_cast<std::size_t>(-1) ? -1 : wcswidth(wide.c_str(), count);
}

std::vector<std::string> lines_of(const Frame &frame) {
    std::vector<std::string> lines;
    for (const Text_Line &line : frame.lines) {
        lines.push_back(line.text());
    }
    return lines;
}

// The first line with the text.
std::string line_with(const Frame &frame, const std::string &text) {
    const std::vector<std::string> lines = lines_of(frame);
    const auto found = std::find_if(lines.begin(), lines.end(), [&](const std::string &line) {
        return line.find(text) != std::string::npos;
    });
    return found == lines.end() ? "there is no line with: " + text + "\n" + frame_text(frame) : *found;
}

// The style of the first span that contains the text.
Style style_of(const Frame &frame, const std::string &text) {
    for (const Text_Line &line : frame.lines) {
        for (const Span &span : line.spans()) {
            if (span.text.find(text) != std::string::npos) {
                return span.style;
            }
        }
    }
    ADD_FAILURE() << "there is no " << text << " in\n" << frame_text(frame);
    return Style::plain;
}

bool has_style(const Frame &frame, Style style) {
    return std::any_of(frame.lines.begin(), frame.lines.end(), [style](const Text_Line &line) {
        return std::any_of(line.spans().begin(), line.spans().end(),
                           [style](const Span &span) { return span.style == style; });
    });
}

class TopFrames : public testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
    void TearDown() override { std::setlocale(LC_CTYPE, "C"); }

    static void expect_fits(const Frame &frame, const Frame_Size &size) {
        if (size.rows > 0) {
            EXPECT_LE(frame.lines.size(), size.rows);
        }
        for (const std::string &line : lines_of(frame)) {
            EXPECT_EQ(terminal::printable(line), line);
            EXPECT_GE(columns_in_terminal(line), 0) << line;
            EXPECT_LE(columns_in_terminal(line), static_cast<int>(size.columns)) << line;
        }
    }
};

const std::vector<std::size_t> WIDTHS{40, 80, 132, 300};

} // namespace

TEST_F(TopFrames, FitTheScreenInEverySizeAndForEveryCluster) {
    for (const Sample &sample :
         {Sample{5, 2, true}, Sample{5, 48, true}, Sample{48, 2, true}, Sample{48, 48, false},
          Sample{2049, 4, true}, Sample{2049, 48, false}, Sample{1, 0, false}}) {
        Top_Model model = model_of(sample);
        let_die(1, sample, model);
        for (const std::size_t columns : {std::size_t{1}, std::size_t{20}, std::size_t{40}, std::size_t{80},
                                          std::size_t{132}, std::size_t{300}}) {
            for (const std::size_t rows :
                 {std::size_t{1}, std::size_t{5}, std::size_t{10}, std::size_t{24}, std::size_t{60}}) {
                for (const seconds age : {seconds(0), seconds(60)}) {
                    const Frame_Size size{columns, rows};
                    const Frame screen = screen_frame(model, {}, size, moment(age));
                    expect_fits(screen, size);
                    EXPECT_TRUE(rows < 5 || screen.lines.size() == rows) << columns << "x" << rows;
                }
            }
            expect_fits(plain_frame(model, {columns, 0}, moment()), {columns, 0});
        }
        if (HasFailure()) {
            FAIL() << sample.nodes << " nodes, " << sample.networks << " networks";
        }
    }
}

TEST_F(TopFrames, FitEveryWidthAndEveryHeight) {
    const Sample sample{30, 3, true};
    Top_Model model = model_of(sample);
    let_die(7, sample, model);
    Top_View searching;
    searching.search = "node-1";
    searching.typing = true;
    Top_View helping;
    helping.help = true;
    for (const Top_View &view : {Top_View(), searching, helping}) {
        for (std::size_t columns = 1; columns <= 150; ++columns) {
            for (const seconds age : {seconds(0), seconds(60)}) {
                expect_fits(screen_frame(model, view, {columns, 24}, moment(age)), {columns, 24});
            }
        }
        for (std::size_t rows = 1; rows <= 60; ++rows) {
            EXPECT_EQ(screen_frame(model, view, {80, rows}, moment()).lines.size(), rows);
        }
    }
}

TEST_F(TopFrames, AFewNodesHaveALineEachWithStatesInWords) {
    Top_Model model = model_of({});
    let_die(3, {}, model);
    const Frame frame = screen_frame(model, {}, {80, 24}, moment());
    EXPECT_THAT(lines_of(frame)[0],
                AllOf(StartsWith(" sample · node 1 node-1"), HasSubstr("wispd 1.0.0, up 2 d 2 h")));
    EXPECT_EQ(lines_of(frame)[1], " ● connected    nodes 4 of 5 up   adapters 8 of 10 up   networks 2 of 2 up");
    EXPECT_EQ(line_with(frame, "STATE"), "  NODE       STATE     net_0 4/5    net_1 4/5");
    EXPECT_EQ(line_with(frame, "▸"), "▸ 1 node-1   up        ● 10.0.0.1   ● 10.1.0.1");
    EXPECT_EQ(line_with(frame, "3 node-3 "), "  3 node-3   down      ✗ 10.0.0.3   ✗ 10.1.0.3");
    EXPECT_EQ(style_of(frame, "✗ 10.0.0.3"), Style::down);
    EXPECT_EQ(style_of(frame, "● 10.0.0.1"), Style::up);
    EXPECT_THAT(line_with(frame, "node death"), AllOf(HasSubstr("node death     3 node-3"),
                                                      HasSubstr("20261122T072446Z-00006a0e-0011223344556677")));
    EXPECT_THAT(lines_of(frame).back(), StartsWith(" q quit  h help  f filter  / search  s sort: number"));
}

TEST_F(TopFrames, WhereAddressesDoNotFitWordsStandInTheCells) {
    Top_Model model = model_of({});
    let_die(3, {}, model);
    const Frame frame = screen_frame(model, {}, {44, 24}, moment());
    EXPECT_EQ(line_with(frame, "3 node-3 "), "  3 node-3   down      ✗ down      ✗ down");
    const Frame narrow = screen_frame(model, {}, {40, 24}, moment());
    EXPECT_EQ(line_with(narrow, "STATE"), "  NODE       STATE     net_0    net_1");
    EXPECT_EQ(line_with(narrow, "3 node-3 "), "  3 node-3   down      ✗ down   ✗ down");
    EXPECT_EQ(line_with(narrow, "nodes 4"), " nodes 4/5  adapters 8/10  networks 2/2");
}

TEST_F(TopFrames, ManyNodesStandInTilesWithOneCharacterForEachNetwork) {
    const Sample sample{48, 3, true};
    Top_Model model = model_of(sample);
    let_die(10, sample, model);
    const Frame frame = screen_frame(model, {}, {80, 24}, moment());
    EXPECT_EQ(line_with(frame, "networks  "), "  networks  0 net_0 47/48  1 net_1 47/48  2 net_2 47/48");
    EXPECT_THAT(line_with(frame, "012"), StartsWith("  NODE         012"));
    EXPECT_THAT(line_with(frame, "▸"), StartsWith("▸  1 node-1  ● ●●●"));
    EXPECT_THAT(line_with(frame, "10 node-10 "), HasSubstr("10 node-10 ✗ ✗✗✗"));
    EXPECT_EQ(frame.range.rows, 12U); // four tiles a line
}

TEST_F(TopFrames, AWideScreenShowsEveryNodeOfAClusterAtOnce) {
    const Frame frame = screen_frame(model_of({2049, 2, false}), {}, {300, 110}, moment());
    EXPECT_EQ(frame.range.shown, frame.range.rows);
    EXPECT_THAT(frame_text(frame), AllOf(HasSubstr("▸    1 ● ●●"), HasSubstr(" 2049 ● ●●")));
}

TEST_F(TopFrames, TheListIsScrolledAndStatesItsPosition) {
    Top_View view;
    const Top_Model model = model_of({2049, 2, true});
    const Frame top = screen_frame(model, view, {80, 24}, moment());
    EXPECT_THAT(frame_text(top), AllOf(HasSubstr("node-1 "), HasSubstr("1-"), HasSubstr(" of 2049 ──")));
    EXPECT_LT(top.range.shown, top.range.rows);
    view.scroll = top.range.rows; // more than there is
    const Frame end = screen_frame(model, view, {80, 24}, moment());
    EXPECT_EQ(end.range.first, end.range.rows - end.range.shown);
    EXPECT_THAT(frame_text(end),
                AllOf(HasSubstr("node-2049"), Not(HasSubstr("▸")), HasSubstr("-2049 of 2049")));
}

TEST_F(TopFrames, NetworksThatDoNotFitAreCountedAndCanBeReached) {
    const Sample sample{3, 48, true};
    Top_Model model = model_of(sample);
    Top_View view;
    const Frame first = screen_frame(model, view, {40, 24}, moment());
    EXPECT_THAT(frame_text(first),
                AllOf(HasSubstr("networks 1-"), HasSubstr(" of 48 ──"), HasSubstr(" 48/48")));
    EXPECT_EQ(first.range.networks, 48U);
    EXPECT_LT(first.range.networks_shown, 48U);
    EXPECT_THAT(line_with(screen_frame(model_of({2049, 48, true}), view, {40, 24}, moment()), "─ nodes"),
                AllOf(HasSubstr("1-"), HasSubstr("/2049, net 1-"), HasSubstr("/48 ──")));
    view.first_network = 47; // clamped
    const Frame last = screen_frame(model, view, {40, 24}, moment());
    EXPECT_EQ(last.range.first_network, 48 - last.range.networks_shown);
    EXPECT_THAT(frame_text(last), HasSubstr("-48 of 48"));
}

TEST_F(TopFrames, ADaemonThatDoesNotAnswerLeavesNothingThatLooksFresh) {
    Top_Model model = model_of({});
    let_die(3, {}, model);
    const Moment later = moment(seconds(5));
    model.check_silence(later);
    const Frame frame = screen_frame(model, {}, {80, 24}, later);
    EXPECT_THAT(lines_of(frame)[1], StartsWith(" ✗ no answer since "));
    EXPECT_EQ(style_of(frame, "no answer since"), Style::bad_badge);
    EXPECT_FALSE(has_style(frame, Style::up)) << frame_text(frame);
    EXPECT_FALSE(has_style(frame, Style::good_badge));
    EXPECT_THAT(frame_text(frame), Not(HasSubstr("●")));
    EXPECT_EQ(line_with(frame, "▸"), "▸ 1 node-1   was up    ○ 10.0.0.1   ○ 10.1.0.1");
    EXPECT_EQ(line_with(frame, "3 node-3 "), "  3 node-3   was down  ✗ 10.0.0.3   ✗ 10.1.0.3");
    EXPECT_THAT(lines_of(frame)[0], Not(HasSubstr("wispd"))); // nothing is known of it any more
    EXPECT_THAT(line_with(frame, "no answer    "), HasSubstr("wispd has not answered since"));
}

TEST_F(TopFrames, ALostDaemonIsShownAsReconnecting) {
    Top_Model model = model_of({});
    model.disconnect("wispd disconnected", moment(seconds(1)));
    const Frame frame = screen_frame(model, {}, {80, 24}, moment(seconds(2)));
    EXPECT_THAT(lines_of(frame)[1], StartsWith(" ✗ reconnecting since "));
    EXPECT_FALSE(has_style(frame, Style::up));
    EXPECT_THAT(line_with(frame, "disconnected "), HasSubstr("reconnecting to /run/wispd/socket"));
}

TEST_F(TopFrames, BeforeTheFirstConnectionThereIsOnlyTheReason) {
    Top_Model model("/run/wispd/socket");
    EXPECT_THAT(frame_text(screen_frame(model, {}, {80, 24}, moment())),
                AllOf(HasSubstr(" ○ connecting "), HasSubstr("connecting to wispd at /run/wispd/socket")));
    model.disconnect("no heartbeat daemon listens at /run/wispd/socket", moment());
    EXPECT_THAT(frame_text(screen_frame(model, {}, {80, 24}, moment())),
                HasSubstr("no heartbeat daemon listens at"));
}

TEST_F(TopFrames, AnEngineThatDoesNotAnswerIsAnAlarm) {
    Top_Model model = model_of({});
    EXPECT_THAT(lines_of(screen_frame(model, {}, {132, 24}, moment()))[0], HasSubstr("engine connected"));
    Daemon_Facts facts = model.facts();
    facts.engine = "silent";
    model.describe(facts);
    EXPECT_EQ(style_of(screen_frame(model, {}, {132, 24}, moment()), "✗ engine silent"), Style::bad_badge);
    facts.engine = "none";
    model.describe(facts);
    EXPECT_THAT(frame_text(screen_frame(model, {}, {132, 24}, moment())), Not(HasSubstr("engine")));
}

TEST_F(TopFrames, UnknownStatesAreNeitherUpNorDown) {
    Top_Model model = model_of({});
    Picture picture = picture_of({});
    for (Node_Row &node : picture.nodes) {
        node.state = Liveness::unknown;
    }
    for (Adapter_Row &adapter : picture.adapters) {
        adapter.state = Liveness::unknown;
    }
    model.connect(picture, moment());
    const Frame frame = screen_frame(model, {}, {80, 24}, moment());
    EXPECT_EQ(line_with(frame, "2 node-2 "), "  2 node-2   unknown   ? 10.0.0.2   ? 10.1.0.2");
    EXPECT_THAT(line_with(frame, "STATE"), HasSubstr("net_0 ?/5 "));
    EXPECT_THAT(lines_of(frame)[1], HasSubstr("nodes ? of 5 up"));
}

TEST_F(TopFrames, FilterSearchAndSortAreNamedAndEmptyListsExplained) {
    Top_Model model = model_of({});
    Top_View view;
    view.filter = Filter::problems;
    EXPECT_THAT(frame_text(screen_frame(model, view, {80, 24}, moment())),
                HasSubstr("no node or adapter is down"));
    let_die(3, {}, model);
    view.sort = Sort::state;
    const Frame down = screen_frame(model, view, {80, 24}, moment());
    EXPECT_THAT(line_with(down, "─ nodes"), StartsWith("─ nodes: problems only · by state ─"));
    EXPECT_THAT(frame_text(down), AllOf(HasSubstr("3 node-3 "), Not(HasSubstr("▸"))));
    view = {};
    view.search = "node-9";
    view.typing = true;
    const Frame none = screen_frame(model, view, {80, 24}, moment());
    EXPECT_THAT(frame_text(none), HasSubstr("no node has this number or name"));
    EXPECT_THAT(lines_of(none).back(), StartsWith(" /node-9_"));
}

TEST_F(TopFrames, TheHelpListsTheKeysAndCanBeScrolled) {
    Top_View view;
    view.help = true;
    const Top_Model model = model_of({});
    EXPECT_THAT(frame_text(screen_frame(model, view, {80, 30}, moment())),
                AllOf(HasSubstr("─ help ─"), HasSubstr("  q          quit"),
                      HasSubstr("  ◐          some adapters of the node")));
    const Frame_Size small{40, 10};
    const Frame begin = screen_frame(model, view, small, moment());
    EXPECT_LT(begin.range.shown, begin.range.rows);
    view.scroll = begin.range.rows - begin.range.shown;
    EXPECT_THAT(frame_text(screen_frame(model, view, small, moment())), HasSubstr("no answer"));
}

TEST_F(TopFrames, TheFailureIdentifierOfANarrowScreenHasItsOwnLine) {
    Top_Model model = model_of({});
    let_die(3, {}, model);
    const std::vector<std::string> lines = lines_of(screen_frame(model, {}, {60, 24}, moment()));
    const auto death = std::find_if(lines.begin(), lines.end(), [](const std::string &line) {
        return line.find("node death") != std::string::npos;
    });
    ASSERT_NE(death, lines.end());
    EXPECT_EQ(*(death + 1), "                  20261122T072446Z-00006a0e-0011223344556677");
}

TEST_F(TopFrames, AnEventOfAnotherDayHasItsDate) {
    Top_Model model = model_of({});
    let_die(3, {}, model);
    const std::string day = date_text(moment().wall);
    const std::string second = clock_text(moment().wall).substr(0, 8);
    const Moment tomorrow = moment(std::chrono::hours(24));
    for (const std::size_t columns : {60U, 80U, 120U}) {
        const Frame_Size size{columns, 24};
        EXPECT_THAT(frame_text(screen_frame(model, {}, size, moment())), Not(HasSubstr(day)));
        const Frame frame = screen_frame(model, {}, size, tomorrow);
        EXPECT_THAT(line_with(frame, "node death"), StartsWith(" " + day + " " + second + " node death"));
        expect_fits(frame, size);
    }
}

TEST_F(TopFrames, HostileAndWideNamesKeepTheColumns) {
    Top_Model model = model_of({3, 1, true});
    Daemon_Facts facts = model.facts();
    facts.nodes = {{1, "日本語"}, {2, terminal::printable("\x1b[2J\xE2\x80\xAE")}, {3, std::string(400, 'x')}};
    facts.cluster = std::string(400, 'y');
    model.describe(facts);
    for (const std::size_t columns : WIDTHS) {
        expect_fits(screen_frame(model, {}, {columns, 24}, moment()), {columns, 24});
    }
    const Frame frame = screen_frame(model, {}, {80, 24}, moment());
    EXPECT_EQ(line_with(frame, "日本語"), "▸ 1 日本語                     up        ● 10.0.0.1");
    EXPECT_THAT(line_with(frame, "xxx"), StartsWith("  3 xxxxxxxxxxxxxxxxxxxxxxx…   up        ● 10.0.0.3"));
    EXPECT_THAT(line_with(frame, "x1B"), HasSubstr("\\x1B[2J\\xE2\\x80\\xAE"));
}

TEST_F(TopFrames, AFrameForAFileHasAllNodesAndNoKeys) {
    const Frame frame = plain_frame(model_of({50, 2, true}), {80, 0}, moment());
    EXPECT_THAT(frame_text(frame),
                AllOf(HasSubstr("50 node-50 "), Not(HasSubstr("quit")), Not(HasSubstr("events"))));
    EXPECT_EQ(lines_of(frame).back(), "  ● up  ✗ down  ◐ part  ? unknown  · none");
    const Frame limited = plain_frame(model_of({50, 2, true}), {40, 10}, moment());
    EXPECT_EQ(limited.lines.size(), 10U);
    EXPECT_THAT(frame_text(limited), HasSubstr(" of 50 ──"));
}
