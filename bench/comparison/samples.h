// SPDX-License-Identifier: Apache-2.0
// What repeated measurements say, however they are distributed.
#pragma once

#include <vector>

namespace comparison {

// The median; 0 of no samples.
double median(std::vector<double> samples);

// The error of the median, as a share of it: half the width of the interval that contains the true median with a
// probability of 95 %. The interval lies between two of the sorted samples, so nothing is assumed of their
// distribution. Fewer than six samples have no such interval: their error is infinite.
double spread(std::vector<double> samples);

} // namespace comparison
