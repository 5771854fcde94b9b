// SPDX-License-Identifier: Apache-2.0
#include <limits>

#include <gtest/gtest.h>

#include "bench/comparison/judgement.h"

namespace comparison {
namespace {

Row row_of(Ratio ratio, std::optional<double> target) {
    Row row;
    row.ratio = ratio;
    row.target = target;
    return row;
}

Figure figure_of(double ratio) {
    Figure figure;
    figure.ratio = ratio;
    figure.rounds = 9;
    return figure;
}

Verdict judge_runs(const Row &row, const std::vector<double> &ratios) {
    std::vector<Figure> runs;
    for (const double ratio : ratios) {
        runs.push_back(figure_of(ratio));
    }
    return judge(row, runs);
}

TEST(RatioOf, IsAboveOneForAFasterSubjectOnlyIfItIsARate) {
    EXPECT_EQ(ratio_of(Ratio::rate, 2, 6), 3);
    EXPECT_EQ(ratio_of(Ratio::cost, 6, 2), 3);
}

TEST(Judgement, TheTargetOfARateIsALowerLimit) {
    EXPECT_EQ(judge(row_of(Ratio::rate, 0.95), figure_of(0.95)), Verdict::met);
    EXPECT_EQ(judge(row_of(Ratio::rate, 0.95), figure_of(0.94)), Verdict::missed);
}

TEST(Judgement, TheTargetOfACostIsAnUpperLimit) {
    EXPECT_EQ(judge(row_of(Ratio::cost, 4.5), figure_of(4.5)), Verdict::met);
    EXPECT_EQ(judge(row_of(Ratio::cost, 4.5), figure_of(4.6)), Verdict::missed);
}

TEST(Judgement, AnUncertainRatioIsJudgedByTheWorseEndOfItsInterval) {
    Figure figure = figure_of(1.2);
    figure.spread = 0.3;
    figure.is_certain = false;
    EXPECT_EQ(judge(row_of(Ratio::rate, 1), figure), Verdict::missed);
    EXPECT_EQ(judge(row_of(Ratio::rate, 0.8), figure), Verdict::met);
    EXPECT_EQ(judge(row_of(Ratio::cost, 1.5), figure), Verdict::missed);
    EXPECT_EQ(judge(row_of(Ratio::cost, 1.6), figure), Verdict::met);
    figure.is_certain = true;
    EXPECT_EQ(judge(row_of(Ratio::rate, 1), figure), Verdict::met);
}

TEST(Judgement, TheQuickRunForgivesAnUncertainRatio) {
    Figure figure = figure_of(1.2);
    figure.spread = std::numeric_limits<double>::infinity();
    figure.is_certain = false;
    EXPECT_EQ(judge(with_half_target(row_of(Ratio::rate, 2)), figure), Verdict::met);
    EXPECT_EQ(judge(with_half_target(row_of(Ratio::rate, 3)), figure), Verdict::missed);
}

TEST(Judgement, TheQuickRunJudgesTheBetterEndOfAnInterval) {
    Figure figure = figure_of(1.2);
    figure.spread = 0.3;
    figure.is_certain = false;
    EXPECT_EQ(judge(with_half_target(row_of(Ratio::rate, 3)), figure), Verdict::met);
    EXPECT_EQ(judge(with_half_target(row_of(Ratio::rate, 4)), figure), Verdict::missed);
    EXPECT_EQ(judge(with_half_target(row_of(Ratio::cost, 0.5)), figure), Verdict::met);
    EXPECT_EQ(judge(with_half_target(row_of(Ratio::cost, 0.3)), figure), Verdict::missed);
}

TEST(Judgement, ARowWithoutATargetIsForInformation) {
    EXPECT_EQ(judge(row_of(Ratio::rate, {}), figure_of(0.001)), Verdict::information);
    EXPECT_EQ(judge_runs(row_of(Ratio::rate, {}), {1, 2}), Verdict::information);
}

TEST(Judgement, AFaultOrNoRoundIsNotMeasuredWhateverTheTarget) {
    Figure faulty = figure_of(100);
    faulty.fault = "no wispd";
    EXPECT_EQ(judge(row_of(Ratio::rate, 1), faulty), Verdict::not_measured);
    EXPECT_EQ(judge(row_of(Ratio::rate, {}), faulty), Verdict::not_measured);
    EXPECT_EQ(judge(row_of(Ratio::rate, 1), Figure()), Verdict::not_measured);
}

TEST(Judgement, OneMissInFiveRunsIsPermittedAndTwoAreNot) {
    const Row row = row_of(Ratio::rate, 1);
    EXPECT_EQ(judge_runs(row, {1.1, 1.1, 0.1, 1.1, 1.1}), Verdict::met);
    EXPECT_EQ(judge_runs(row, {1.1, 0.9, 0.9, 1.1, 1.1}), Verdict::missed);
}

TEST(Judgement, FewerThanFiveRunsPermitNoMiss) {
    const Row row = row_of(Ratio::rate, 1);
    EXPECT_EQ(judge_runs(row, {1.1, 0.9, 1.1, 1.1}), Verdict::missed);
    EXPECT_EQ(judge_runs(row, {1.1}), Verdict::met);
}

TEST(Judgement, ARunThatWasNotMeasuredIsNoPermittedMiss) {
    std::vector<Figure> runs(5, figure_of(2));
    runs[4].fault = "no wispd";
    EXPECT_EQ(judge(row_of(Ratio::rate, 1), runs), Verdict::not_measured);
    EXPECT_EQ(judge(row_of(Ratio::rate, 1), std::vector<Figure>()), Verdict::not_measured);
}

TEST(HalfTheTarget, HalvesARateDoublesACostAndLeavesInformation) {
    EXPECT_EQ(*with_half_target(row_of(Ratio::rate, 0.9)).target, 0.45);
    EXPECT_EQ(*with_half_target(row_of(Ratio::cost, 1.5)).target, 3);
    EXPECT_FALSE(with_half_target(row_of(Ratio::cost, {})).target);
}

TEST(ExitStatus, IsZeroOnlyIfEachRowIsMetOrForInformation) {
    EXPECT_EQ(exit_status({Verdict::met, Verdict::information}), 0);
    EXPECT_EQ(exit_status({Verdict::met, Verdict::missed}), 1);
    EXPECT_EQ(exit_status({Verdict::met, Verdict::not_measured}), 1);
    EXPECT_EQ(exit_status({}), 1);
}

} // namespace
} // namespace comparison
