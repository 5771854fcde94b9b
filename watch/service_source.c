/* SPDX-License-Identifier: Apache-2.0 */
#define _GNU_SOURCE
#include "watch/service_source.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>

/* Groups that are due. */
enum { NODES_DUE = 1, ADAPTERS_DUE = 2 };

enum { REMOVED_BIT = 0x08000000 };

#define NOT_A_MEMBER 0xFFFFFFFFU

enum { MEMBERSHIP = HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP };

/* ---- Beginning ---- */

static Hb_Rc subscribe_to(Hbw_Service_Source *source, Hb_Rc (*add_all)(Hb_Subscription_Group *),
                          const char *name) {
    char copy[HB_NAME_SIZE];
    memset(copy, 0, sizeof copy);
    strncpy(copy, name, sizeof copy - 1);
    memset(source->group, 0, sizeof *source->group);
    if (hb_empty_subscription_group(source->group) != Hb_Success || add_all(source->group) != Hb_Success) {
        return Hb_Failure;
    }
    return hb_subscribe(copy, source->group, MEMBERSHIP);
}

static Hb_Rc subscribe(Hbw_Service_Source *source) {
    source->due = 0;
    if ((source->what & HB_WATCH_ADAPTERS) != 0) {
        source->due |= ADAPTERS_DUE;
        if (subscribe_to(source, hb_add_all_adapters_to_subscription_group, "hb_watch-adapters") !=
            Hb_Success) {
            return Hb_Failure;
        }
    }
    if ((source->what & HB_WATCH_NODES) != 0) {
        source->due |= NODES_DUE;
        return subscribe_to(source, hb_add_all_nodes_to_subscription_group, "hb_watch-nodes");
    }
    return Hb_Success;
}

static int copy_descriptors(Hbw_Service_Source *source, const int *descriptors, int count) {
    source->descriptors = calloc((size_t)count, sizeof *source->descriptors);
    if (source->descriptors == NULL) {
        return -1;
    }
    for (int i = 0; i < count; ++i) {
        source->descriptors[i].fd = descriptors[i];
        source->descriptors[i].events = POLLIN;
    }
    source->count = count;
    return 0;
}

/* In daemon mode there is exactly one descriptor. */
static Hb_Rc find_descriptors(Hbw_Service_Source *source) {
    int *descriptors;
    int count;
    if (hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success) {
        return Hb_Failure;
    }
    int result = -1;
    if (count <= 1) {
        errno = EINVAL;
    } else {
        result = copy_descriptors(source, descriptors, count);
    }
    const int reason = errno;
    hb_free_file_descriptor_array(descriptors);
    errno = reason;
    return result == 0 ? Hb_Success : Hb_Failure;
}

static void register_descriptors(const Hbw_Service_Source *source, int operation) {
    for (int i = 0; i < source->count; ++i) {
        struct epoll_event event = {EPOLLIN, {0}};
        epoll_ctl(source->epoll, operation, source->descriptors[i].fd, &event);
    }
}

Hb_Rc hbw_service_begin(Hbw_Service_Source *source, uint32_t what, int64_t pause, int epoll,
                        Hbw_Account *account, Hbw_Contact *contact) {
    source->what = what;
    source->pause = pause;
    source->epoll = epoll;
    source->account = account;
    source->contact = contact;
    source->retry_at = 0;
    source->configuration_due = 1;
    source->event = calloc(1, sizeof *source->event);
    source->group = calloc(1, sizeof *source->group);
    if (source->event == NULL || source->group == NULL || find_descriptors(source) != Hb_Success ||
        subscribe(source) != Hb_Success) {
        const int reason = errno;
        hbw_service_free(source);
        errno = reason;
        return Hb_Failure;
    }
    register_descriptors(source, EPOLL_CTL_ADD);
    return Hb_Success;
}

void hbw_service_free(Hbw_Service_Source *source) {
    free(source->descriptors);
    free(source->event);
    free(source->group);
    source->descriptors = NULL;
    source->event = NULL;
    source->group = NULL;
    source->count = 0;
}

/* ---- The configuration ---- */

static int read_adapter(Hb_Adapter_Number number, Hb_Watch_Adapter *adapter) {
    Hb_Node_Number node;
    memset(adapter, 0, sizeof *adapter);
    adapter->number = number;
    adapter->network = -1;
    if (hb_get_node_number_by_adapter_number(number, &node) != Hb_Success ||
        hb_get_adapter_address_by_number(number, &adapter->address) != Hb_Success ||
        hb_get_adapter_type_by_number(number, adapter->type) != Hb_Success) {
        return -1;
    }
    adapter->node = node;
    return 0;
}

static void read_network(Hbw_Configuration *configuration, Hb_Network_Number number) {
    Hb_Network_Entry *network = &configuration->networks[number];
    hb_get_network_name_by_number(number, network->Hb_network_name);
    hb_get_network_type_by_number(number, network->Hb_network_type);
    Hb_Adapter_Number adapter;
    Hb_Cursor cursor;
    for (Hb_Rc result = hb_get_first_configured_adapter_in_network(number, &adapter, &cursor);
         result == Hb_Success; result = hb_get_next_configured_adapter_in_network(number, &adapter, &cursor)) {
        const size_t place = hbw_configuration_place(configuration, adapter);
        if (place < configuration->adapter_count && configuration->adapters[place].number == adapter) {
            configuration->adapters[place].network = number;
        }
    }
}

static void read_networks(Hbw_Configuration *configuration) {
    Hb_Network_Number number;
    Hb_Cursor cursor;
    for (Hb_Rc result = hb_get_first_configured_network_number(&number, &cursor); result == Hb_Success;
         result = hb_get_next_configured_network_number(&number, &cursor)) {
        read_network(configuration, number);
    }
}

static void read_adapters(Hbw_Configuration *configuration) {
    Hb_Adapter_Number number;
    Hb_Cursor cursor;
    for (Hb_Rc result = hb_get_first_configured_adapter_number(&number, &cursor); result == Hb_Success;
         result = hb_get_next_configured_adapter_number(&number, &cursor)) {
        Hb_Watch_Adapter adapter;
        if (configuration->adapter_count < configuration->adapter_room && read_adapter(number, &adapter) == 0) {
            hbw_configuration_add(configuration, &adapter);
        }
    }
}

/* Keeps the configuration due until it has been read. */
static int read_configuration(Hbw_Service_Source *source, int announced) {
    source->configuration_due = 1;
    Hbw_Configuration *next = &source->account->next;
    int adapters = 0;
    Hb_Node_Number local_node = -1;
    if (hb_get_number_of_configured_adapters(&adapters) != Hb_Success ||
        hb_get_my_node_number(&local_node) != Hb_Success) {
        return hb_get_errno();
    }
    if (hbw_configuration_begin(next, HB_NODE_SLOTS, HB_ADAPTER_SLOTS, (size_t)adapters) != 0) {
        return HB_ERROR_NO_MEMORY;
    }
    next->local_node = local_node;
    read_adapters(next);
    hbw_configuration_end(next);
    read_networks(next);
    if (hbw_account_configure(source->account, announced) != 0) {
        return HB_ERROR_NO_MEMORY;
    }
    source->configuration_due = 0;
    return 0;
}

/* ---- Events ---- */

/* The service repeats itself: a join of what is up is no return. */
static void join(Hbw_Account *account, Hbw_Sort sort, uint32_t number, uint32_t incarnation) {
    if (!hbw_bits_has(&account->members[sort].up, number)) {
        hbw_account_join(account, sort, number, incarnation);
    }
}

static void change_member(Hbw_Service_Source *source, int event, Hbw_Sort sort, uint32_t number,
                          uint32_t incarnation) {
    switch (event) {
    case HB_EVENT_DEATH:
        hbw_account_die(source->account, sort, number, (incarnation & REMOVED_BIT) != 0);
        break;
    case HB_EVENT_JOIN:
        join(source->account, sort, number, incarnation);
        break;
    default:
        hbw_account_add_member(source->account, sort, number, incarnation);
        break;
    }
}

static void read_nodes(Hbw_Service_Source *source, int event) {
    const Hb_Boolean *members = source->event->Hb_membership_grp_union.Hb_node_membership_grp.Hb_node_list;
    const Hbw_Bits *configured = &source->account->configuration.nodes;
    for (uint32_t node = hbw_bits_next(configured, 0); node != HBW_NO_MEMBER;
         node = hbw_bits_next(configured, node + 1)) {
        if (members[node] == Hb_True) {
            change_member(source, event, HBW_NODE, node, 0);
        }
    }
}

static void read_adapter_members(Hbw_Service_Source *source, int event) {
    const Hb_Incarnation *members =
        source->event->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list;
    const Hbw_Configuration *configuration = &source->account->configuration;
    for (size_t i = 0; i < configuration->adapter_count; ++i) {
        const uint32_t number = configuration->adapters[i].number;
        if (members[number] != NOT_A_MEMBER) {
            change_member(source, event, HBW_ADAPTER, number, members[number]);
        }
    }
}

static void read_members(Hbw_Service_Source *source, int event, Hbw_Sort sort) {
    if (sort == HBW_NODE) {
        read_nodes(source, event);
    } else {
        read_adapter_members(source, event);
    }
}

/* A group is about the configuration of the session.  Its event precedes the group only after a commit. */
static int read_group(Hbw_Service_Source *source, Hbw_Sort sort) {
    const int error = source->configuration_due ? read_configuration(source, 0) : 0;
    if (error != 0) {
        return error;
    }
    hbw_account_begin_group(source->account, sort);
    read_members(source, HB_EVENT_NEW_GROUP, sort);
    hbw_account_end_group(source->account, sort);
    source->due &= ~(sort == HBW_NODE ? (uint32_t)NODES_DUE : (uint32_t)ADAPTERS_DUE);
    return 0;
}

static int is_watched(const Hbw_Service_Source *source, Hbw_Sort sort) {
    return (source->what & (sort == HBW_NODE ? (uint32_t)HB_WATCH_NODES : (uint32_t)HB_WATCH_ADAPTERS)) != 0;
}

static int read_event(Hbw_Service_Source *source, int event) {
    const Hbw_Sort sort = source->event->Hb_group_type == Hb_Node_Group ? HBW_NODE : HBW_ADAPTER;
    switch (event) {
    case HB_EVENT_CONFIG:
        return read_configuration(source, 1);
    case HB_EVENT_DEATH:
    case HB_EVENT_JOIN:
        if (is_watched(source, sort)) {
            read_members(source, event, sort);
        }
        return 0;
    case HB_EVENT_NEW_GROUP:
        return is_watched(source, sort) ? read_group(source, sort) : 0;
    default:
        return 0;
    }
}

/* ---- Steps ---- */

/* The descriptors stay readable while the service fails.  So the user's loop must not see them meanwhile.  If the
 * program has removed the handlers that own them, the watch does not open the library again by itself. */
static void fail(Hbw_Service_Source *source, int error, Hbw_Time now) {
    hbw_contact_lost(source->contact, error);
    register_descriptors(source, EPOLL_CTL_DEL);
    source->retry_at = error == HB_ERROR_NO_HANDLER ? INT64_MAX : now.steady + source->pause;
}

static int try_again(Hbw_Service_Source *source, Hbw_Time now) {
    if (now.steady < source->retry_at) {
        return 0;
    }
    if (subscribe(source) != Hb_Success) {
        source->retry_at = now.steady + source->pause;
        return 0;
    }
    source->retry_at = 0;
    register_descriptors(source, EPOLL_CTL_ADD);
    return 1;
}

static int first_ready(const Hbw_Service_Source *source) {
    if (poll(source->descriptors, (nfds_t)source->count, 0) > 0) {
        for (int i = 0; i < source->count; ++i) {
            if (source->descriptors[i].revents != 0) {
                return source->descriptors[i].fd;
            }
        }
    }
    return -1;
}

static int means_loss(int error) {
    return error == HB_ERROR_NO_MEMORY || error == HB_ERROR_CLUSTER_QUERY_FAILED ||
           error == HB_ERROR_NODE_QUERY_FAILED || error == HB_ERROR_INTERFACE_QUERY_FAILED ||
           error == HB_ERROR_NO_HANDLER;
}

static int read_one(Hbw_Service_Source *source, int descriptor) {
    int ready[] = {descriptor, -1};
    int event = HB_EVENT_NONE;
    char name[HB_NAME_SIZE];
    unsigned long sequence = 0;
    if (hb_get_event_message(ready, NULL, &event, name, source->event, &sequence) == Hb_Success) {
        return read_event(source, event);
    }
    const int error = hb_get_errno();
    return means_loss(error) ? error : 0; /* otherwise one event could not be read */
}

int hbw_service_step(Hbw_Service_Source *source, Hbw_Time now) {
    if (source->retry_at != 0) {
        return try_again(source, now);
    }
    const int descriptor = first_ready(source);
    if (descriptor < 0) {
        return 0;
    }
    hbw_account_stamp(source->account, now.wall, source->contact->known_until, NULL);
    const int error = read_one(source, descriptor);
    if (error != 0) {
        fail(source, error, now);
    } else if (source->due == 0) {
        hbw_contact_alive(source->contact, now.wall);
    } else {
        source->contact->last_life = now.wall;
    }
    return 1;
}

int hbw_service_is_complete(const Hbw_Service_Source *source) {
    return source->retry_at == 0 && source->due == 0;
}

int64_t hbw_service_deadline(const Hbw_Service_Source *source) {
    return source->retry_at != 0 ? source->retry_at : INT64_MAX;
}
