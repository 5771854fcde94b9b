// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include <gtest/gtest.h>

#include "bench/comparison/samples.h"

namespace comparison {
namespace {

TEST(Median, IsTheMiddleSampleOrTheMeanOfTheTwoInTheMiddle) {
    EXPECT_EQ(median({3, 1, 100}), 3);
    EXPECT_EQ(median({4, 1, 100, 2}), 3);
    EXPECT_EQ(median({}), 0);
}

TEST(Spread, OfFewerThanSixSamplesIsInfinite) {
    EXPECT_TRUE(std::isinf(spread({1, 1, 1, 1, 1})));
    EXPECT_EQ(spread({1, 1, 1, 1, 1, 1}), 0);
}

// Of 6 samples the interval reaches from the lowest to the highest.
TEST(Spread, OfSixSamplesIsHalfTheirRangeOverTheMedian) {
    EXPECT_DOUBLE_EQ(spread({9, 10, 10, 10, 10, 12}), 0.15);
}

// Of 100 samples the interval reaches from the 41st to the 60th.
TEST(Spread, OfAHundredSamplesIsThatOfTheMiddleTwenty) {
    std::vector<double> samples;
    for (int i = 1; i <= 100; ++i) {
        samples.push_back(i);
    }
    EXPECT_DOUBLE_EQ(spread(samples), 9.5 / 50.5);
}

TEST(Spread, DoesNotGrowWithAFewDisturbedSamples) {
    std::vector<double> samples(30, 2.0);
    samples[3] = samples[17] = 1000;
    samples[25] = 0.001;
    EXPECT_EQ(spread(samples), 0);
}

} // namespace
} // namespace comparison
