/* SPDX-License-Identifier: Apache-2.0 */
/* Waits for a node's death, and makes a request meanwhile.  The watch has its own connection: the request finds its
 * answer, and the death is reported. */
#include <stdio.h>

#include "hb_watch.h"

/* Prints the nodes that die, until none does for a second. */
static void print_deaths(Hb_Watch *watch) {
    Hb_Watch_Report report;
    while (hb_watch_wait(watch, &report, 1000) == 1)
        if (report.kind == HB_WATCH_NODE_DIED)
            printf("node %d died\n", report.node);
}

int main(void) {
    Hb_Watch *watch = hb_watch_open(NULL);
    Hb_Watch_Report report;
    Hb_Adapter_Number adapter;
    Hb_Node_Number local;
    Hb_Cursor cursor;
    int state;
    setvbuf(stdout, NULL, _IOLBF, 0);
    if (watch == NULL || hb_get_my_node_number(&local) != Hb_Success ||
        hb_get_first_configured_adapter_in_node(local, &adapter, &cursor) != Hb_Success)
        return 1;
    while (hb_watch_wait(watch, &report, 10000) == 1 && report.kind != HB_WATCH_CURRENT)
        continue;
    if (hb_get_adapter_state(adapter, &state) == Hb_Success)
        puts("watching");
    getchar(); /* a node dies while the program does other work */
    if (hb_get_adapter_state(adapter, &state) == Hb_Success)
        puts("the adapter's state is known");
    else
        printf("the request failed with error %d\n", hb_get_errno());
    print_deaths(watch);
    puts("end");
    hb_watch_close(watch);
    hb_terminate();
    return 0;
}
