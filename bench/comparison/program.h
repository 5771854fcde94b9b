// SPDX-License-Identifier: Apache-2.0
// A benchmark program: its options, its table and its exit status.
#pragma once

#include <string>
#include <vector>

#include "bench/comparison/growth.h"
#include "bench/comparison/row.h"

namespace comparison {

struct Program {
    std::string name;
    std::string purpose; // for --help
    std::vector<Row> rows;
    std::vector<Growth> growth;
};

// Returns the exit status: 0 if every row is met, 1 if one is missed or not measured, 2 for wrong options.
int run(const Program &program, int argc, char **argv);

} // namespace comparison
