// SPDX-License-Identifier: Apache-2.0
// Measures both sides of a row alternately, until their ratio is certain enough.
#pragma once

#include <functional>

#include "bench/comparison/judgement.h"

namespace comparison {

struct Bounds {
    int least_rounds = 9;
    int most_rounds = 500;
    double seconds = 20;  // no round begins later
    double spread = 0.05; // the ratio is certain enough below this
};

// Each round does one repetition of each side; the side that begins alternates. The first round is for the caches
// and does not count. `seconds_since_start` replaces the clock in tests.
Figure measure(const Row &row, const Bounds &bounds, const std::function<double()> &seconds_since_start);
Figure measure(const Row &row, const Bounds &bounds);

} // namespace comparison
