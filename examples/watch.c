/* SPDX-License-Identifier: Apache-2.0 */
/* Prints which nodes are up, die and join, as it happens. */
#include <poll.h>
#include <stdio.h>

#include "hb_client.h"

static Hb_Group group; /* 393,480 bytes: not on the stack */

int main(void) {
    char name[HB_NAME_SIZE] = "watch";
    static Hb_Subscription_Group all;
    int *descriptors, count, event;
    unsigned long sequence;
    Hb_Node_Number node;

    setvbuf(stdout, NULL, _IOLBF, 0);
    if (hb_empty_subscription_group(&all) == Hb_Success &&
        hb_add_all_nodes_to_subscription_group(&all) == Hb_Success &&
        hb_subscribe(name, &all, HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP) == Hb_Success &&
        hb_get_file_descriptor_array(&descriptors, &count) == Hb_Success) {
        struct pollfd ready = {descriptors[0], POLLIN, 0};
        while (poll(&ready, 1, -1) == 1 &&
               hb_get_event_message(descriptors, NULL, &event, name, &group, &sequence) == Hb_Success) {
            printf("%lu: event %d", sequence, event); /* event 1: died, 2: joined, 4: up now */
            if (event & (HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP))
                for (int rc = hb_get_first_node(&group, &node); rc == Hb_Success;
                     rc = hb_get_next_node(&group, &node))
                    printf(" %d", node);
            puts("");
        }
    }
    fprintf(stderr, "watch: the library's error number is %d\n", hb_get_errno());
    return 1;
}
