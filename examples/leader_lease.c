/* SPDX-License-Identifier: Apache-2.0 */
/* Leads while this node is the lowest-numbered one that is up: leader_lease [HOLD, milliseconds; default 6000].
 * It gives up leadership when its daemon is unreachable, and when its node is isolated: half of the configured nodes,
 * or more, are down. A new leader waits for HOLD first, so that the last leader has given up by then.
 *
 * WHAT THIS CANNOT GUARANTEE. Two nodes can lead at once for a while. HOLD must exceed the time in which the cluster
 * detects a loss, and CHECK + ANSWER below. It assumes that all clocks run at one speed. A program that was paused
 * (SIGSTOP, a suspended machine) leads until it runs again and reads the report. Nothing here stops a former leader:
 * there is no fencing. Use this to avoid double work. To protect data, use storage that rejects a former leader. */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "hb_watch.h"

enum { CHECK = 500, ANSWER = 1500 }; /* milliseconds; a stopped daemon is noticed after both */

static long long now(void) {
    struct timespec time; /* of a clock that is never set */
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000LL + time.tv_nsec / 1000000;
}

static const char *reason_against(const Hb_Watch *watch) { /* null: this node should lead */
    int node, configured = 0, up = 0, lowest = -1;

    if (!hb_watch_is_current(watch))
        return "no contact to the daemon";
    for (node = hb_watch_next_node(watch, -1); node >= 0; node = hb_watch_next_node(watch, node), ++configured)
        if (hb_watch_node_state(watch, node) == Hb_Entity_Up && ++up == 1)
            lowest = node;
    if (up * 2 <= configured)
        return "the node is isolated";
    return lowest == hb_watch_local_node(watch) ? NULL : "another node leads";
}

int main(int argc, char **argv) {
    const long long hold = argc > 1 ? atoi(argv[1]) : 6000;
    const char *reason, *last = NULL;
    long long since = -1; /* when this node became the one to lead; -1: it is not */
    Hb_Watch_Report report;
    Hb_Watch_Options options;
    Hb_Watch *watch;

    hb_watch_default_options(&options);
    options.what = HB_WATCH_NODES;
    options.check_interval = CHECK;
    options.answer_timeout = ANSWER;
    watch = hb_watch_open(&options);
    while (watch != NULL) {
        reason = reason_against(watch);
        since = reason != NULL ? -1 : since < 0 ? now() : since;
        reason = reason != NULL ? reason : now() - since < hold ? "waiting for the last leader" : "leading";
        if (reason != last) {
            puts(last = reason);
            fflush(stdout);
        }
        hb_watch_wait(watch, &report, 100);
    }
}
