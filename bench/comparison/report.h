// SPDX-License-Identifier: Apache-2.0
// Figures as text.
#pragma once

#include <string>
#include <vector>

#include "bench/comparison/judgement.h"

namespace comparison {

// "events of 16 members, rate of the bare loop: at least 0.95"
std::string heading_of(const Row &row);

// The heading with the figure and its verdict. It states when the ratio is uncertain.
std::string line_of(const Row &row, const Figure &figure);

// A line for each row, with a column for each run; `results` holds each row's runs.
std::string markdown_table(const std::vector<Row> &rows, const std::vector<std::vector<Figure>> &results);

} // namespace comparison
