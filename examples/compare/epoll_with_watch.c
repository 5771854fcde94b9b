/* SPDX-License-Identifier: Apache-2.0 */
/* Prints which nodes and adapters die and join. It prints the same lines as epoll_by_hand.c. Beyond that it notices a
 * daemon that is stopped, never waits for one that does not answer, and survives an invalid record. */
#include <stdio.h>
#include <sys/epoll.h>

#include "hb_error.h"
#include "hb_watch.h"

static void show(const Hb_Watch_Report *report) {
    switch (report->kind) {
    case HB_WATCH_NODE_JOINED:
    case HB_WATCH_NODE_DIED:
        printf("node %d %s\n", report->node, report->kind == HB_WATCH_NODE_DIED ? "died" : "joined");
        break;
    case HB_WATCH_ADAPTER_JOINED:
    case HB_WATCH_ADAPTER_DIED:
        printf("adapter %u %s\n", report->adapter, report->kind == HB_WATCH_ADAPTER_DIED ? "died" : "joined");
        break;
    case HB_WATCH_UNREACHABLE:
        fprintf(stderr, "no contact: %s\n", hb_error_text(report->error));
        break;
    default:
        break;
    }
}

int main(void) {
    struct epoll_event interest = {.events = EPOLLIN}, ready;
    const int set = epoll_create1(EPOLL_CLOEXEC);
    Hb_Watch *watch = hb_watch_open(NULL);
    Hb_Watch_Report report;

    setvbuf(stdout, NULL, _IOLBF, 0);
    if (set < 0 || watch == NULL || epoll_ctl(set, EPOLL_CTL_ADD, hb_watch_descriptor(watch), &interest) != 0)
        return 1;
    while (epoll_wait(set, &ready, 1, -1) == 1)
        if (hb_watch_next(watch, &report) == 1)
            show(&report);
    return 1;
}
