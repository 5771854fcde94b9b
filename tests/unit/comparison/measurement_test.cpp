// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "bench/comparison/measurement.h"

namespace comparison {
namespace {

// A row whose sides return made-up costs. It records the order of the calls: s for the subject, p for the peer.
struct Made_Up {
    std::string calls;
    std::vector<double> subject_costs{1}; // repeated
    double peer_cost = 2;

    Row row(Ratio ratio = Ratio::rate) {
        Row row;
        row.ratio = ratio;
        row.prepare = [this] {
            return Sides{[this, next = std::size_t{0}]() mutable {
                             calls += 's';
                             return subject_costs[next++ % subject_costs.size()];
                         },
                         [this] {
                             calls += 'p';
                             return peer_cost;
                         }};
        };
        return row;
    }
};

double standing_clock() {
    return 0;
}

TEST(Measurement, TheSideThatBeginsAlternatesAfterARoundThatDoesNotCount) {
    Made_Up made_up;
    const Figure figure = measure(made_up.row(), {4, 4, 10, 0.05}, standing_clock);
    EXPECT_EQ(made_up.calls, "sp"
                             "sp"
                             "ps"
                             "sp"
                             "ps");
    EXPECT_EQ(figure.rounds, 4);
}

TEST(Measurement, EndsAfterTheLeastRoundsWhenTheRatioIsCertain) {
    Made_Up made_up;
    const Figure figure = measure(made_up.row(), {9, 500, 10, 0.05}, standing_clock);
    EXPECT_EQ(figure.rounds, 9);
    EXPECT_EQ(figure.ratio, 2);
    EXPECT_EQ(figure.spread, 0);
    EXPECT_TRUE(figure.is_certain);
    EXPECT_EQ(figure.subject, 1);
    EXPECT_EQ(figure.peer, 2);
}

TEST(Measurement, GoesOnWhileTheRatioIsUncertainUntilTheMostRounds) {
    Made_Up made_up;
    made_up.subject_costs = {1, 3};
    const Figure figure = measure(made_up.row(), {9, 50, 10, 0.05}, standing_clock);
    EXPECT_EQ(figure.rounds, 50);
    EXPECT_GT(figure.spread, 0.05);
    EXPECT_FALSE(figure.is_certain);
}

TEST(Measurement, BeginsNoRoundAfterTheTimeIsOver) {
    Made_Up made_up;
    made_up.subject_costs = {1, 3};
    double seconds = 0;
    const Figure figure = measure(made_up.row(), {9, 500, 10, 0.05}, [&] { return seconds += 1; });
    EXPECT_GT(figure.rounds, 3);
    EXPECT_LT(figure.rounds, 15);
    seconds = 0;
    EXPECT_EQ(measure(made_up.row(), {9, 500, 0.1, 0.05}, [&] { return seconds += 1; }).rounds, 1);
}

TEST(Measurement, TheMedianOfTheRoundsIgnoresADisturbedOne) {
    Made_Up made_up;
    made_up.subject_costs = {4, 4, 4, 4000, 4, 4};
    const Figure figure = measure(made_up.row(Ratio::cost), {20, 20, 10, 0.05}, standing_clock);
    EXPECT_EQ(figure.ratio, 2);
}

TEST(Measurement, AFaultIsReportedWithItsReason) {
    Row row;
    row.prepare = []() -> Sides { throw std::runtime_error("no wispd"); };
    EXPECT_EQ(measure(row, {}, standing_clock).fault, "no wispd");
    row.prepare = [] {
        return Sides{[]() -> double { throw std::runtime_error("no event"); }, [] { return 1.0; }};
    };
    EXPECT_EQ(measure(row, {}, standing_clock).fault, "no event");
}

} // namespace
} // namespace comparison
