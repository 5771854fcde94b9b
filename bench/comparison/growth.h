// SPDX-License-Identifier: Apache-2.0
// How the cost of some work grows: measured at 1, 4, 16 and 64 times the work.
#pragma once

#include <array>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "bench/comparison/judgement.h"
#include "bench/comparison/row.h"

namespace comparison {

inline constexpr std::array<int, 4> GROWTH_SIZES{1, 4, 16, 64};
inline constexpr double GROWTH_LIMIT = 5; // four times the work costs at most this many times as much

struct Growth {
    std::string line; // its name in the plot, one word
    std::string unit; // what the smallest size is: "16 nodes"
    Cost cost = Cost::processor_time;
    // Returns one repetition at this size; the work is this many times that of size 1.
    std::function<std::function<double()>(int size)> prepare;
};

// Three rows: each size beside a quarter of it.
std::vector<Row> rows_of(const Growth &growth);

// Writes a line for each size: its name, the size, and the cost. The smallest cost is the median one, and each other one
// follows by the ratio of its step: steps are measured at different times, and only a ratio compares both of its sides at
// one time. The figures are those of rows_of().
void write_growth(std::ostream &out, const Growth &growth, const std::vector<Figure> &figures);

} // namespace comparison
