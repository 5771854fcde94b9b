// SPDX-License-Identifier: Apache-2.0
// The purpose of the benchmarks: how the library compares with a plain way of doing the same, in one run on
// one machine.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

// Prints the results as they arrive and keeps the median of each.
class Median_Reporter : public benchmark::ConsoleReporter {
  public:
    Median_Reporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run> &runs) override;

    // Seconds of processor time for one iteration, by the benchmark's name.
    const std::map<std::string, double> &medians() const { return medians_; }

  private:
    std::map<std::string, double> medians_;
};

// Prints the ratios. Returns false when a ratio misses its target or was not measured.
bool print_ratios(const std::map<std::string, double> &medians);
