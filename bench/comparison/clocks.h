// SPDX-License-Identifier: Apache-2.0
// The clocks of the benchmarks.
#pragma once

#include <ctime>

namespace comparison {

inline double seconds_of(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Processor time of this thread.
inline double processor_seconds() {
    return seconds_of(CLOCK_THREAD_CPUTIME_ID);
}
inline double wall_seconds() {
    return seconds_of(CLOCK_MONOTONIC);
}

// Repeats the work until it has used enough processor time for the clock. Returns the time of one call. The clock is
// read ever more rarely, because reading it can last longer than a call.
template <typename Work> double seconds_per_call(Work work) {
    constexpr double enough = 0.005;
    const double begin = processor_seconds();
    long calls = 0;
    for (long more = 1;; more *= 2) {
        for (long i = 0; i < more; ++i) {
            work();
        }
        calls += more;
        const double used = processor_seconds() - begin;
        if (used >= enough) {
            return used / static_cast<double>(calls);
        }
    }
}

// Keeps the optimiser from dropping the computation of a value, and from assuming what memory holds.
template <typename T> void keep(const T &value) {
    asm volatile("" : : "r,m"(value) : "memory");
}

} // namespace comparison
