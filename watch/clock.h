/* SPDX-License-Identifier: Apache-2.0 */
/* The time, in nanoseconds. */
#pragma once

#include <stdint.h>

#define HBW_MILLISECOND INT64_C(1000000)

typedef struct Hbw_Time {
    int64_t steady; /* for time-outs */
    int64_t wall;   /* since 1970 */
} Hbw_Time;

Hbw_Time hbw_now(void);
