// SPDX-License-Identifier: Apache-2.0
#include "bench/ratios.h"

#include <cstdio>

namespace {

struct Ratio {
    const char *text;
    const char *of;      // this one's rate ...
    const char *against; // ... divided by this one's
    double target;       // 0: printed for information
};

constexpr Ratio RATIOS[] = {
    {"events of 1 member, rate of the bare loop", "library_events/nodes/1/manual_time",
     "bare_events/nodes/1/manual_time", 0.7},
    {"events of 16 members, rate of the bare loop", "library_events/nodes/16/manual_time",
     "bare_events/nodes/16/manual_time", 0.7},
    {"events of 1000 members, rate of the bare loop", "library_events/nodes/1000/manual_time",
     "bare_events/nodes/1000/manual_time", 0.7},
    {"the same, each member on another node", "library_events/network/1000/manual_time",
     "bare_events/network/1000/manual_time", 0},
    {"loading 98,352 adapters, rate of building two maps", "load_snapshot", "build_two_maps", 1.0},
    {"loading 98,352 adapters, rate of copying the message", "load_snapshot", "copy_message", 0},
    {"subscribing all adapters at once, rate of one by one", "subscribe_all_at_once", "subscribe_one_by_one",
     0},
    {"comparing 4 times the adapters, rate of 24,588", "compare_identical/98352", "compare_identical/24588",
     0.2},
    {"comparing 6,147 adapters, rate of the nested scan", "compare_identical/6147", "nested_scan/6147", 20.0},
    {"making an event, rate of clearing its memory once", "make_adapter_event", "clear_event_once", 0.7},
};

// Work that must finish within this many seconds on any current machine.
struct Limit {
    const char *text;
    const char *of;
    double seconds;
};

constexpr Limit LIMITS[] = {
    {"comparing 98,352 identical adapters, seconds", "compare_identical/98352", 0.1},
};

double value_of(const std::map<std::string, double> &medians, const char *name) {
    const auto found = medians.find(name);
    return found == medians.end() ? 0 : found->second;
}

} // namespace

void Median_Reporter::ReportRuns(const std::vector<Run> &runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
        if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median" && !run.error_occurred) {
            // A time that a benchmark measured itself is reported as its real time.
            const double time =
                run.run_name.time_type.empty() ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
            medians_[run.run_name.str()] = time / benchmark::GetTimeUnitMultiplier(run.time_unit);
        }
    }
}

bool print_ratios(const std::map<std::string, double> &medians) {
    bool all_met = true;
    std::printf("\nRatios of medians, measured in this run\n");
    for (const Ratio &ratio : RATIOS) {
        const double of = value_of(medians, ratio.of);
        const double against = value_of(medians, ratio.against);
        if (of <= 0 || against <= 0) {
            std::printf("  %-54s not measured\n", ratio.text);
            all_met = false;
            continue;
        }
        const double value = against / of;
        std::printf("  %-54s %8.3f", ratio.text, value);
        if (ratio.target > 0) {
            const bool met = value >= ratio.target;
            std::printf("   target %.1f: %s", ratio.target, met ? "met" : "MISSED");
            all_met = all_met && met;
        }
        std::printf("\n");
    }
    for (const Limit &limit : LIMITS) {
        const double seconds = value_of(medians, limit.of);
        const bool met = seconds > 0 && seconds < limit.seconds;
        std::printf("  %-54s %8.3f   limit %.1f: %s\n", limit.text, seconds, limit.seconds,
                    met ? "met" : "MISSED");
        all_met = all_met && met;
    }
    return all_met;
}
