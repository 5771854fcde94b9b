/* SPDX-License-Identifier: Apache-2.0 */
/* Waits for a node's death, and makes a request meanwhile, with hb_client.h alone.  The request reads the death instead
 * of its answer, fails with error 10, and the death is lost. */
#include <stdio.h>

#include "hb_client.h"

static Hb_Group group;
static Hb_Subscription_Group all;

/* Prints the nodes that die, until none does for a second. */
static void print_deaths(int *descriptors) {
    struct timeval second = {1, 0};
    unsigned long sequence;
    Hb_Node_Number node;
    Hb_Name name;
    int event;
    while (hb_get_event_message(descriptors, &second, &event, name, &group, &sequence) == Hb_Success)
        for (Hb_Rc rc = hb_get_first_node(&group, &node); rc == Hb_Success && event == HB_EVENT_DEATH;
             rc = hb_get_next_node(&group, &node))
            printf("node %d died\n", node);
}

int main(void) {
    Hb_Name name = "deaths";
    int *descriptors, count, state;
    Hb_Adapter_Number adapter;
    Hb_Node_Number local;
    Hb_Cursor cursor;
    setvbuf(stdout, NULL, _IOLBF, 0);
    if (hb_empty_subscription_group(&all) != Hb_Success ||
        hb_add_all_nodes_to_subscription_group(&all) != Hb_Success ||
        hb_subscribe(name, &all, HB_EVENT_DEATH) != Hb_Success ||
        hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success ||
        hb_get_my_node_number(&local) != Hb_Success ||
        hb_get_first_configured_adapter_in_node(local, &adapter, &cursor) != Hb_Success)
        return 1;
    if (hb_get_adapter_state(adapter, &state) == Hb_Success)
        puts("watching");
    getchar(); /* a node dies while the program does other work */
    if (hb_get_adapter_state(adapter, &state) == Hb_Success)
        puts("the adapter's state is known");
    else
        printf("the request failed with error %d\n", hb_get_errno());
    print_deaths(descriptors);
    puts("end");
    hb_free_file_descriptor_array(descriptors);
    hb_terminate();
    return 0;
}
