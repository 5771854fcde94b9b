// SPDX-License-Identifier: Apache-2.0
// hb_bench: runs the benchmarks, then prints the ratios. Options are Google Benchmark's.
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/ratios.h"

int main(int argc, char **argv) {
    // Repetitions of all benchmarks are interleaved, so that a disturbance of the machine affects both sides.
    char repetitions[] = "--benchmark_repetitions=7";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char aggregates[] = "--benchmark_report_aggregates_only=true";
    char shortly[] = "--benchmark_min_time=0.1";
    std::vector<char *> arguments{argv[0], repetitions, interleaving, aggregates, shortly};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());

    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    Median_Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return print_ratios(reporter.medians()) ? 0 : 1;
}
