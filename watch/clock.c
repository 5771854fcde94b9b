/* SPDX-License-Identifier: Apache-2.0 */
#define _POSIX_C_SOURCE 200809L
#include "watch/clock.h"

#include <time.h>

static int64_t read_clock(clockid_t clock) {
    struct timespec time;
    clock_gettime(clock, &time);
    return (int64_t)time.tv_sec * 1000 * HBW_MILLISECOND + time.tv_nsec;
}

Hbw_Time hbw_now(void) {
    const Hbw_Time now = {read_clock(CLOCK_MONOTONIC), read_clock(CLOCK_REALTIME)};
    return now;
}
