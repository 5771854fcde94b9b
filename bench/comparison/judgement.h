// SPDX-License-Identifier: Apache-2.0
// Whether the measured ratios meet their targets.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/comparison/row.h"

namespace comparison {

// What one run measured of one row.
struct Figure {
    double ratio = 0;
    double spread = 0;      // of the ratio
    bool is_certain = true; // the spread is as low as wanted
    int rounds = 0;
    double subject = 0; // medians, in seconds or bytes
    double peer = 0;
    std::string fault; // why it was not measured; empty if it was
};

enum class Verdict { met, missed, not_measured, information };

// Returns the ratio of one round.
double ratio_of(Ratio ratio, double subject, double peer);

// An uncertain ratio is judged by the worse end of its interval, so that no noise meets a target. A row that forgives
// noise is judged by the better end.
Verdict judge(const Row &row, const Figure &figure);

// Judges several runs of one row. One miss in five runs is permitted, because another program can disturb a run.
Verdict judge(const Row &row, const std::vector<Figure> &runs);

// The quick run catches accidents: it permits half the target of a rate, twice that of a cost, and noise.
Row with_half_target(const Row &row);

// 0 if every row is met or for information, 1 otherwise or if there is no row.
int exit_status(const std::vector<Verdict> &rows);

} // namespace comparison
