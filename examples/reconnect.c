/* SPDX-License-Identifier: Apache-2.0 */
/* Follows the nodes through restarts of the daemon, and states each loss of contact. There is nothing to do for it: the
 * watch connects again. Then it reports what differs from its reports before the loss. */
#include <stdio.h>

#include "hb_error.h"
#include "hb_watch.h"

/* When a death or join happened, if its event was missed. */
static void show_time(const Hb_Watch_Report *report) {
    if (report->flags & HB_WATCH_INITIAL)
        printf(" (up at the start)");
    else if (report->flags & HB_WATCH_CAUGHT_UP)
        printf(" (within the last %.1f s)", (double)(report->time - report->since) / 1e9);
    puts("");
}

int main(void) {
    Hb_Watch_Options options;
    Hb_Watch_Report report;
    Hb_Watch *watch;

    setvbuf(stdout, NULL, _IOLBF, 0);
    hb_watch_default_options(&options);
    options.what = HB_WATCH_NODES;
    options.retry_max = 1000; /* milliseconds: connect again soon, there are few clients */
    watch = hb_watch_open(&options);
    while (watch != NULL && hb_watch_wait(watch, &report, -1) == 1)
        switch (report.kind) {
        case HB_WATCH_CURRENT:
            puts("in contact: all nodes are known");
            break;
        case HB_WATCH_UNREACHABLE:
            /* The last known states are in the watch's memory. They may be out of date. */
            printf("no contact: %s\n", hb_error_text(report.error));
            break;
        case HB_WATCH_NODE_JOINED:
        case HB_WATCH_NODE_DIED:
            printf("node %d %s", report.node, report.kind == HB_WATCH_NODE_DIED ? "died" : "joined");
            show_time(&report);
            break;
        default:
            break;
        }
    perror("reconnect");
    return 1;
}
