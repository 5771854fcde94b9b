// SPDX-License-Identifier: Apache-2.0
#include "bench/comparison/samples.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace comparison {

namespace {

constexpr std::size_t FEWEST_FOR_AN_INTERVAL = 6;
constexpr double NORMAL_95 = 1.96; // this many standard deviations on each side hold 95 %

double middle_of(const std::vector<double> &sorted) {
    const std::size_t half = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[half] : (sorted[half - 1] + sorted[half]) / 2;
}

} // namespace

double median(std::vector<double> samples) {
    if (samples.empty()) {
        return 0;
    }
    std::sort(samples.begin(), samples.end());
    return middle_of(samples);
}

double spread(std::vector<double> samples) {
    if (samples.size() < FEWEST_FOR_AN_INTERVAL) {
        return std::numeric_limits<double>::infinity();
    }
    std::sort(samples.begin(), samples.end());
    // Each sample lies below the true median with a probability of one half, so the count of those that do is
    // binomial, with a standard deviation of half the root of the number of samples.
    const auto count = static_cast<double>(samples.size());
    const double outside = std::floor((count - NORMAL_95 * std::sqrt(count)) / 2);
    const auto lowest = static_cast<std::size_t>(std::max(0.0, outside));
    const double width = samples[samples.size() - 1 - lowest] - samples[lowest];
    return width / 2 / std::abs(middle_of(samples));
}

} // namespace comparison
