// SPDX-License-Identifier: Apache-2.0
#include <sstream>

#include <gtest/gtest.h>

#include "bench/comparison/growth.h"
#include "bench/comparison/measurement.h"

namespace comparison {
namespace {

// Its cost is the size to this power.
Growth growth_of(int power) {
    return {"load", "16 nodes", Cost::processor_time, [power](int size) {
                double cost = 1;
                for (int i = 0; i < power; ++i) {
                    cost *= size;
                }
                return [cost] { return cost; };
            }};
}

std::vector<Verdict> verdicts_of(const Growth &growth) {
    std::vector<Verdict> verdicts;
    for (const Row &row : rows_of(growth)) {
        verdicts.push_back(judge(row, measure(row, {9, 9, 10, 0.05})));
    }
    return verdicts;
}

TEST(GrowthRows, AreMetByWorkThatGrowsAsMuchAndMissedByItsSquare) {
    EXPECT_EQ(verdicts_of(growth_of(1)), std::vector<Verdict>(3, Verdict::met));
    EXPECT_EQ(verdicts_of(growth_of(2)), std::vector<Verdict>(3, Verdict::missed));
}

TEST(GrowthRows, StateWhatIsComparedWithWhat) {
    const std::vector<Row> rows = rows_of(growth_of(1));
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0].work, "load, 4 times 16 nodes");
    EXPECT_EQ(rows[0].beside, "1 times");
    EXPECT_EQ(rows[2].work, "load, 64 times 16 nodes");
    EXPECT_EQ(rows[2].beside, "16 times");
}

TEST(GrowthFile, HasTheCostOfEachSizeByTheRatiosOfItsSteps) {
    std::vector<Figure> figures(3);
    figures[0].peer = 0.5;
    figures[0].ratio = 4;
    figures[1].peer = 3; // the machine was slower then
    figures[1].ratio = 4;
    figures[2].ratio = 2;
    std::ostringstream out;
    write_growth(out, growth_of(1), figures);
    EXPECT_EQ(out.str(), "load 1 0.5\nload 4 2\nload 16 8\nload 64 16\n");
}

} // namespace
} // namespace comparison
