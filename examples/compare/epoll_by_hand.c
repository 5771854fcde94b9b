/* SPDX-License-Identifier: Apache-2.0 */
/* Prints which nodes and adapters die and join, with hb_client.h alone. epoll_with_watch.c beside it prints the same lines,
 * and lists what this program cannot do. */
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/epoll.h>
#include <time.h>
#include <unistd.h>

#include "hb_client.h"
#include "hb_error.h"

static const char NODES[] = "nodes", ADAPTERS[] = "adapters";
static const int EVENTS = HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP;

static Hb_Group group;               /* 393,480 bytes: not on the stack */
static Hb_Subscription_Group wanted; /* neither is this */

/* What was printed last. After a loss it shows which members died in the meantime. */
static char node_is_up[HB_NODE_SLOTS];
static char adapter_is_up[HB_ADAPTER_SLOTS];

static void set_state(const char *what, char *states, unsigned number, int is_up) {
    if (states[number] != is_up)
        printf("%s %u %s\n", what, number, is_up ? "joined" : "died");
    states[number] = (char)is_up;
}

/* A new group has all members: everything else is down. */
static void read_new_nodes(void) {
    int i;

    for (i = 0; i < HB_NODE_SLOTS; ++i)
        set_state("node", node_is_up, (unsigned)i, hb_is_node_in_group(&group, (Hb_Node_Number)i) == Hb_True);
}

static void read_new_adapters(void) {
    unsigned i;

    for (i = 0; i < HB_ADAPTER_SLOTS; ++i)
        set_state("adapter", adapter_is_up, i, hb_is_adapter_in_group(&group, i) == Hb_True);
}

static void read_changed_nodes(int is_up) {
    Hb_Node_Number node;
    Hb_Rc result;

    for (result = hb_get_first_node(&group, &node); result == Hb_Success;
         result = hb_get_next_node(&group, &node))
        set_state("node", node_is_up, (unsigned)node, is_up);
}

static void read_changed_adapters(int is_up) {
    Hb_Adapter_Identifier adapter;
    Hb_Rc result;

    for (result = hb_get_first_adapter(&group, &adapter); result == Hb_Success;
         result = hb_get_next_adapter(&group, &adapter))
        set_state("adapter", adapter_is_up, adapter.Hb_adapter_number, is_up);
}

static void read_event(int event, const char *name) {
    const int is_join = event == HB_EVENT_JOIN;

    if (strcmp(name, NODES) == 0 && event == HB_EVENT_NEW_GROUP)
        read_new_nodes();
    else if (strcmp(name, ADAPTERS) == 0 && event == HB_EVENT_NEW_GROUP)
        read_new_adapters();
    else if (strcmp(name, NODES) == 0 && (event == HB_EVENT_DEATH || is_join))
        read_changed_nodes(is_join);
    else if (strcmp(name, ADAPTERS) == 0 && (event == HB_EVENT_DEATH || is_join))
        read_changed_adapters(is_join);
}

static int subscribe_all(void) {
    Hb_Name nodes, adapters;

    strcpy(nodes, NODES);
    strcpy(adapters, ADAPTERS);
    memset(&wanted, 0, sizeof wanted);
    if (hb_empty_subscription_group(&wanted) != Hb_Success ||
        hb_add_all_nodes_to_subscription_group(&wanted) != Hb_Success ||
        hb_subscribe(nodes, &wanted, EVENTS) != Hb_Success)
        return 0;
    memset(&wanted, 0, sizeof wanted);
    return hb_empty_subscription_group(&wanted) == Hb_Success &&
           hb_add_all_adapters_to_subscription_group(&wanted) == Hb_Success &&
           hb_subscribe(adapters, &wanted, EVENTS) == Hb_Success;
}

/* Reads events until a call fails. */
static void follow(int set) {
    struct epoll_event interest = {.events = EPOLLIN}, ready;
    int *descriptors, count, event;
    unsigned long sequence;
    Hb_Name name;

    if (!subscribe_all() || hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success)
        return;
    if (epoll_ctl(set, EPOLL_CTL_ADD, descriptors[0], &interest) == 0)
        while (epoll_wait(set, &ready, 1, -1) == 1 &&
               hb_get_event_message(descriptors, NULL, &event, name, &group, &sequence) == Hb_Success) {
            if (event != HB_EVENT_CONFIG)
                read_event(event, name);
            else if (!subscribe_all()) /* the new configuration may have other members */
                break;
        }
    /* The library closes the descriptor, which removes it from the set. */
    hb_free_file_descriptor_array(descriptors);
}

int main(void) {
    const struct timespec pause = {0, 500000000};
    const int set = epoll_create1(EPOLL_CLOEXEC);

    setvbuf(stdout, NULL, _IOLBF, 0);
    signal(SIGPIPE, SIG_IGN);
    while (set >= 0) {
        follow(set);
        fprintf(stderr, "no contact: %s\n", hb_error_text(hb_get_errno()));
        hb_terminate();
        nanosleep(&pause, NULL);
    }
    return 1;
}
