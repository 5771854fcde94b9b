/* SPDX-License-Identifier: Apache-2.0 */
/* Follows nodes and adapters apart, and reads the standard input, in one epoll loop: two watches and one more descriptor.
 * A line of input lists the nodes with their states (Hb_Entity_State). The end of the input ends the program. */
#include <stdio.h>
#include <sys/epoll.h>
#include <unistd.h>

#include "hb_watch.h"

static Hb_Watch *watches[2]; /* nodes, adapters */

static Hb_Watch *open_watch(int set, uint32_t what, uint32_t place) {
    struct epoll_event wanted = {.events = EPOLLIN, .data = {.u32 = place}};
    Hb_Watch_Options options;
    Hb_Watch *watch;

    hb_watch_default_options(&options);
    options.what = what;
    watch = hb_watch_open(&options);
    if (watch != NULL)
        epoll_ctl(set, EPOLL_CTL_ADD, hb_watch_descriptor(watch),
                  &wanted); /* once: the descriptor never changes */
    return watch;
}

static void show(const Hb_Watch_Report *report, const char *name) {
    const int died = report->kind == HB_WATCH_NODE_DIED || report->kind == HB_WATCH_ADAPTER_DIED;

    if (report->kind == HB_WATCH_NODE_JOINED || report->kind == HB_WATCH_NODE_DIED)
        printf("%s: node %d %s\n", name, report->node, died ? "died" : "joined");
    else if (report->kind == HB_WATCH_ADAPTER_JOINED || report->kind == HB_WATCH_ADAPTER_DIED)
        printf("%s: adapter %u of node %d %s\n", name, report->adapter, report->node, died ? "died" : "joined");
    else
        printf("%s: %s\n", name, report->kind == HB_WATCH_UNREACHABLE ? "no contact" : "current");
}

int main(void) {
    struct epoll_event wanted = {.events = EPOLLIN, .data = {.u32 = 2}}, ready;
    const int set = epoll_create1(EPOLL_CLOEXEC);
    Hb_Watch_Report report;
    char input[80];
    int node;

    setvbuf(stdout, NULL, _IOLBF, 0);
    watches[0] = open_watch(set, HB_WATCH_NODES, 0);
    watches[1] = open_watch(set, HB_WATCH_ADAPTERS, 1);
    if (watches[0] == NULL || watches[1] == NULL || epoll_ctl(set, EPOLL_CTL_ADD, STDIN_FILENO, &wanted) != 0)
        return 1;
    while (epoll_wait(set, &ready, 1, -1) == 1)
        if (ready.data.u32 < 2) { /* one report for each wake-up: the descriptor stays readable */
            if (hb_watch_next(watches[ready.data.u32], &report) == 1)
                show(&report, ready.data.u32 == 0 ? "nodes" : "adapters");
        } else if (read(STDIN_FILENO, input, sizeof input) <= 0)
            return 0;
        else
            for (node = hb_watch_next_node(watches[0], -1); node >= 0;
                 node = hb_watch_next_node(watches[0], node))
                printf("node %d: state %d\n", node, hb_watch_node_state(watches[0], node));
    return 1;
}
