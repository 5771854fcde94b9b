// SPDX-License-Identifier: Apache-2.0
// The rows of hb_bench, by subject.
#pragma once

#include <vector>

#include "bench/comparison/growth.h"
#include "bench/comparison/row.h"

// In this process alone.
std::vector<comparison::Row> event_rows();
std::vector<comparison::Row> query_rows();
std::vector<comparison::Row> load_rows();
std::vector<comparison::Row> table_rows();
// With a real wispd of the same build.
std::vector<comparison::Row> opening_rows();
std::vector<comparison::Row> memory_rows();
std::vector<comparison::Row> fan_out_rows();
// With wispd's model and publisher in this process.
std::vector<comparison::Row> mass_death_rows();

std::vector<comparison::Growth> event_growth();
std::vector<comparison::Growth> query_growth();
std::vector<comparison::Growth> load_growth();
std::vector<comparison::Growth> table_growth();
std::vector<comparison::Growth> opening_growth();
std::vector<comparison::Growth> fan_out_growth();
std::vector<comparison::Growth> mass_death_growth();
