// SPDX-License-Identifier: Apache-2.0
// The measured values, as a table.
#pragma once

#include <string>
#include <vector>

namespace hb_test {

// "1.50 (1.20 to 2.10)": the median, the least and the greatest, in seconds. A dash when there are none.
std::string in_seconds(std::vector<double> times);
// The same in milliseconds: "1.5 (1.2 to 20.1) ms".
std::string in_milliseconds(std::vector<double> times);

// A Markdown table: the first row is its head.
std::string markdown(const std::vector<std::vector<std::string>> &rows);

} // namespace hb_test
