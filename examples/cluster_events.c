/* SPDX-License-Identifier: Apache-2.0 */
/* Reads its events from the cluster service, on a node without a daemon; docs/cluster-event-mode.md shows how to try it.
 * Set HB_SERVER_SOCKET=/none where a daemon runs: the first commit asks it to end, also for its other clients. */
#include <poll.h>
#include <stdio.h>

#include "hb_client.h"
#include "hb_error.h"

static Hb_Group group;               /* 393,480 bytes: not on the stack */
static Hb_Subscription_Group wanted; /* neither is this */

/* 1 death, 2 join, 4 members that are up: of the group's members. 128: the configuration changed. */
static void show(int event, const char *name) {
    Hb_Adapter_Identifier id;
    Hb_Node_Number node;
    Hb_Rc rc = hb_get_first_node(&group, &node); /* fails if the group is of adapters */
    printf("%s: event %d", name, event);
    for (; event != HB_EVENT_CONFIG && rc == Hb_Success; rc = hb_get_next_node(&group, &node))
        printf(" node %d", node);
    for (rc = hb_get_first_adapter(&group, &id); event != HB_EVENT_CONFIG && rc == Hb_Success;
         rc = hb_get_next_adapter(&group, &id))
        printf(" adapter %u", id.Hb_adapter_number);
    puts("");
}

static int subscribe(char *name, Hb_Rc (*add_all)(Hb_Subscription_Group *)) {
    const int events = HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP;
    return hb_empty_subscription_group(&wanted) == Hb_Success && add_all(&wanted) == Hb_Success &&
           hb_subscribe(name, &wanted, events) == Hb_Success;
}

int main(void) {
    Hb_Name nodes = "nodes", adapters = "adapters", name;
    int *descriptors, count, event, i, ready[2] = {-1, -1};
    struct pollfd waiting[16];
    unsigned long sequence;
    setvbuf(stdout, NULL, _IOLBF, 0);
    hb_migrate_to_mox_commit(); /* there is no daemon to leave; from here on the service is the source */
    if (hb_init() == Hb_Success && hb_migrate_to_mox_prep() == Hb_Success &&
        hb_migrate_to_mox_commit() == Hb_Success && subscribe(nodes, hb_add_all_nodes_to_subscription_group) &&
        subscribe(adapters, hb_add_all_adapters_to_subscription_group) &&
        hb_get_file_descriptor_array(&descriptors, &count) == Hb_Success) {
        for (i = 0; i < count; ++i)
            waiting[i] = (struct pollfd){.fd = descriptors[i], .events = POLLIN};
        puts("watching");
        while (poll(waiting, (nfds_t)count, -1) > 0) {
            for (i = 0; waiting[i].revents == 0;)
                ++i;
            ready[0] = descriptors[i]; /* one that is ready */
            if (hb_get_event_message(ready, NULL, &event, name, &group, &sequence) != Hb_Success)
                break;
            if (event != HB_EVENT_NONE)
                show(event, name);
        }
    }
    event = hb_get_errno();
    fprintf(stderr, "cluster_events: %s (%s, error %d)\n", hb_error_text(event), hb_error_name(event), event);
    return 1;
}
