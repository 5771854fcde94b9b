// SPDX-License-Identifier: Apache-2.0
// The account of reports notices each kind of wrong report. Otherwise it would prove nothing about a watch.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/watch/replay.h"

namespace hb_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string line(const std::string &text, const std::string &fields = "time=5\tsince=5") {
    return "report\t" + text + "\t" + fields;
}

Replay replay_of(const std::vector<std::string> &lines) {
    Replay replay;
    for (const std::string &each : lines) {
        const std::optional<Report> report = read_report(each);
        EXPECT_TRUE(report) << each;
        replay.take(report.value_or(Report()));
    }
    return replay;
}

const std::string NODE_2 = "time=5\tsince=5\tnode=2";

TEST(Replay, ReadsEveryFieldOfALine) {
    const std::optional<Report> report = read_report(
        "report\tadapter 97 died caught-up removed\ttime=9\tsince=4\tnode=2\tnetwork=1\tfailure=20261122T-1");
    ASSERT_TRUE(report);
    EXPECT_EQ(Report::Kind::adapter_died, report->kind);
    EXPECT_EQ(97U, report->number);
    EXPECT_TRUE(report->caught_up && report->removed && !report->initial);
    EXPECT_EQ(9, report->time);
    EXPECT_EQ(4, report->since);
    EXPECT_EQ(2, report->node);
    EXPECT_EQ(1, report->network);
    EXPECT_EQ("20261122T-1", report->failure);
}

TEST(Replay, ReadsNoOtherLine) {
    for (const char *other : {"answer\tstate\tok", "report", "report\tnode 3 left", "report\tnode three died",
                              "report\tnode 3 died often", "report\tunreachable", ""}) {
        EXPECT_FALSE(read_report(other)) << other;
    }
}

TEST(Replay, AddsUpWhatIsUp) {
    const Replay replay =
        replay_of({line("node 2 joined initial", NODE_2), line("adapter 96 joined initial"), line("current"),
                   line("node 2 died", NODE_2), line("configuration"), line("adapter 97 joined")});
    EXPECT_THAT(replay.complaints(), IsEmpty());
    EXPECT_THAT(replay.who().nodes, IsEmpty());
    EXPECT_THAT(replay.who().adapters, ElementsAre(96U, 97U));
    EXPECT_TRUE(replay.current());
    EXPECT_EQ(1U, replay.changes().at("node 2")); // the start is no change
    EXPECT_EQ(1U, replay.changes().at("adapter 97"));
}

TEST(Replay, NoticesAReportThatDoesNotAlternate) {
    EXPECT_THAT(replay_of({line("adapter 1 joined initial"), line("adapter 1 joined initial")}).complaints(),
                ElementsAre(HasSubstr("it was up already")));
    EXPECT_THAT(replay_of({line("current"), line("adapter 1 died")}).complaints(),
                ElementsAre(HasSubstr("it was not up")));
}

TEST(Replay, NoticesContactThatDoesNotAlternate) {
    EXPECT_THAT(replay_of({line("current"), line("current")}).complaints(),
                ElementsAre(HasSubstr("current already")));
    EXPECT_THAT(
        replay_of({line("unreachable 15", "time=5\tsince=0"), line("unreachable 15", "time=5\tsince=0")})
            .complaints(),
        ElementsAre(HasSubstr("the loss was reported already")));
    const Replay good = replay_of({line("unreachable 15", "time=5\tsince=0"), line("current"),
                                   line("unreachable 16", "time=9\tsince=8"), line("current")});
    EXPECT_THAT(good.complaints(), IsEmpty());
    EXPECT_EQ(2U, good.losses());
}

TEST(Replay, NoticesAWrongReasonAndAWrongTime) {
    EXPECT_THAT(replay_of({line("unreachable 0")}).complaints(), ElementsAre(HasSubstr("no reason")));
    EXPECT_THAT(replay_of({line("current", "time=5\tsince=4")}).complaints(),
                ElementsAre(HasSubstr("times differ")));
    EXPECT_THAT(replay_of({line("current", "time=5\tsince=6")}).complaints(),
                ElementsAre(HasSubstr("had not come"), HasSubstr("times differ")));
    EXPECT_THAT(replay_of({line("current", "")}).complaints(), ElementsAre(HasSubstr("no time")));
    EXPECT_THAT(replay_of({line("current"), line("unreachable 16", "time=5\tsince=0")}).complaints(),
                ElementsAre(HasSubstr("sign of life")));
}

TEST(Replay, NoticesAStartAfterTheStart) {
    EXPECT_THAT(replay_of({line("current"), line("adapter 1 joined initial")}).complaints(),
                ElementsAre(HasSubstr("not what was up at the start")));
    EXPECT_THAT(replay_of({line("adapter 1 joined removed")}).complaints(), ElementsAre(HasSubstr("removal")));
    EXPECT_THAT(replay_of({line("node 2 joined", "time=5\tsince=5\tnode=3")}).complaints(),
                ElementsAre(HasSubstr("the node's number is 3")));
}

} // namespace
} // namespace hb_test
