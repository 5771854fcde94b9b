/* SPDX-License-Identifier: Apache-2.0 */
/* Prints the numbers of the nodes that are down, one on each line.
 * Exit status: 0 all of them were printed, 1 the daemon is unreachable. */
#include <stdio.h>

#include "hb_error.h"
#include "hb_watch.h"

enum { LONGEST_WAIT = 5000 }; /* milliseconds */

int main(void) {
    Hb_Watch_Options options;
    Hb_Watch_Report report;
    Hb_Watch *watch;
    int node, got, is_current;

    hb_watch_default_options(&options);
    options.what = HB_WATCH_NODES;
    watch = hb_watch_open(&options);
    if (watch == NULL) {
        perror("dead_nodes");
        return 1;
    }
    /* Everything that is up joins first. Then one report says that the picture is complete, or that there is none. */
    do
        got = hb_watch_wait(watch, &report, LONGEST_WAIT);
    while (got == 1 && report.kind != HB_WATCH_CURRENT && report.kind != HB_WATCH_UNREACHABLE);

    is_current = hb_watch_is_current(watch);
    if (!is_current)
        fprintf(stderr, "dead_nodes: %s: %s\n", hb_watch_socket_path(watch),
                got == 1 ? hb_error_text(report.error) : "no answer");
    for (node = hb_watch_next_node(watch, -1); is_current && node >= 0; node = hb_watch_next_node(watch, node))
        if (hb_watch_node_state(watch, node) == Hb_Entity_Down)
            printf("%d\n", node);
    hb_watch_close(watch);
    return is_current ? 0 : 1;
}
