// SPDX-License-Identifier: Apache-2.0
// Collects everything that a report contains.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace hbctl {

struct Report_Part {
    std::string file; // its name in the archive
    std::string text;
    std::string failure; // empty: complete, or cut
    bool is_cut = false;
};

// Runs everything at once, each for as long as `patience`. No text contains a key. Throws Interrupted when the descriptor
// becomes readable.
std::vector<Report_Part> collect_report(std::chrono::milliseconds patience, int stop);

// The first file of the archive: what the report is, and a line for each part.
std::string summary_of(const std::vector<Report_Part> &parts, const std::string &name,
                       std::chrono::milliseconds patience);

} // namespace hbctl
