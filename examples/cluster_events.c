/* SPDX-License-Identifier: Apache-2.0 */
/* Reads its events from the operating system's cluster service, on a node without a heartbeat daemon.
 * docs/cluster-event-mode.md shows how to try it with a simulated service. Set HB_SERVER_SOCKET=/none on a
 * machine where a daemon runs: the first commit asks the daemon that it reaches to end, also for its other
 * clients. */
#include <poll.h>
#include <stdio.h>

#include "hb_client.h"
#include "hb_error.h"

static Hb_Group group;               /* 393,480 bytes: not on the stack */
static Hb_Subscription_Group wanted; /* neither is this */

/* Returns the descriptors that are ready, followed by -1; returns 0 when waiting failed. */
static int wait_for_ready(const int *descriptors, int count, int *ready) {
    struct pollfd waiting[16];
    int i, found = 0;

    for (i = 0; i < count; ++i) {
        waiting[i].fd = descriptors[i];
        waiting[i].events = POLLIN;
    }
    if (poll(waiting, (nfds_t)count, -1) < 0)
        return 0;
    for (i = 0; i < count; ++i)
        if (waiting[i].revents != 0)
            ready[found++] = waiting[i].fd;
    ready[found] = -1;
    return 1;
}

/* 1 death, 2 join, 4 members that are up: of the group's members. 128: the configuration changed. */
static void show(int event, const char *name) {
    Hb_Node_Number node;
    Hb_Adapter_Identifier adapter;
    Hb_Rc rc;

    printf("%s: event %d", name, event);
    if (event != HB_EVENT_CONFIG && group.Hb_group_type == Hb_Node_Group)
        for (rc = hb_get_first_node(&group, &node); rc == Hb_Success; rc = hb_get_next_node(&group, &node))
            printf(" node %d", node);
    if (event != HB_EVENT_CONFIG && group.Hb_group_type == Hb_Adapter_Group)
        for (rc = hb_get_first_adapter(&group, &adapter); rc == Hb_Success;
             rc = hb_get_next_adapter(&group, &adapter))
            printf(" adapter %u", adapter.Hb_adapter_number);
    puts("");
}

int main(void) {
    const int events = HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP;
    Hb_Name nodes = "nodes", adapters = "adapters", name;
    int *descriptors, count, error, event, ready[17];
    unsigned long sequence;

    setvbuf(stdout, NULL, _IOLBF, 0);
    /* Without a daemon there is nothing to leave; from here on the service is the source. Then the library is
     * opened on the service's cluster, and the handlers of its events are made. */
    hb_migrate_to_mox_commit();
    if (hb_init() == Hb_Success && hb_migrate_to_mox_prep() == Hb_Success &&
        hb_migrate_to_mox_commit() == Hb_Success && hb_empty_subscription_group(&wanted) == Hb_Success &&
        hb_add_all_nodes_to_subscription_group(&wanted) == Hb_Success &&
        hb_subscribe(nodes, &wanted, events) == Hb_Success &&
        hb_empty_subscription_group(&wanted) == Hb_Success &&
        hb_add_all_adapters_to_subscription_group(&wanted) == Hb_Success &&
        hb_subscribe(adapters, &wanted, events) == Hb_Success &&
        hb_get_file_descriptor_array(&descriptors, &count) == Hb_Success) {
        puts("watching");
        while (wait_for_ready(descriptors, count, ready) &&
               hb_get_event_message(ready, NULL, &event, name, &group, &sequence) == Hb_Success)
            if (event != HB_EVENT_NONE)
                show(event, name);
    }
    error = hb_get_errno();
    fprintf(stderr, "cluster_events: %s (%s, error %d)\n", hb_error_text(error), hb_error_name(error), error);
    return 1;
}
