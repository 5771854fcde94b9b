// SPDX-License-Identifier: Apache-2.0
#include "lib/api/hb_subscription.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <optional>

#include "lib/api/argument_check.h"
#include "lib/api/iteration.h"
#include "lib/api/subscription_bitmap.h"
#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/errno_keeper.h"
#include "lib/base/none_values.h"
#include "lib/hb_communication/request.h"
#include "lib/hb_global_data/configuration_checks.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/mox/handlers/MOX_ORBFSNewGroupEventHandler.h"
#include "lib/mox/handlers/event_pipe.h"
#include "lib/mox/handlers/process_handlers.h"

// The valid bits of an event mask. Each of the two other masks selects a subscription type of its own.
static constexpr int EVENT_WITHOUT_NAME = 16; // a mask may hold it; no event has it
static constexpr unsigned ALL_EVENTS = HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP |
                                       EVENT_WITHOUT_NAME | HB_EVENT_SITE_SPLIT | HB_EVENT_SITE_MERGE |
                                       HB_EVENT_DIFF_INSTANCE | HB_EVENT_HEARTBEAT;
static constexpr int SITE_EVENTS = HB_EVENT_SITE_SPLIT | HB_EVENT_SITE_MERGE;
static constexpr int DIFFERENT_INSTANCE_EVENTS = HB_EVENT_DIFF_INSTANCE;

static constexpr int SITE_BITS = 8 * HB_SITE_BITMAP_SIZE;

namespace {

// The members of a group: a view of the count and the bitmap in the caller's record.
struct Members {
    int32_t &count;
    uint8_t *bitmap;
    std::size_t bitmap_size;

    void clear() {
        std::memset(bitmap, 0, bitmap_size);
        count = 0;
    }

    void set(std::size_t number) {
        bitmap[number / 8] = static_cast<uint8_t>(bitmap[number / 8] | hb_bit_mask(number));
    }

    void change(std::size_t number, bool add) {
        if (hb_has_bit(bitmap, number) == add) {
            return;
        }
        bitmap[number / 8] = static_cast<uint8_t>(bitmap[number / 8] ^ hb_bit_mask(number));
        // A record that another program built may hold any count, so the count must be able to wrap.
        count = static_cast<int32_t>(static_cast<uint32_t>(count) + (add ? 1U : 0xFFFFFFFFU));
    }
};

} // namespace

static Members nodes_of(Hb_Subscription_Group &group) {
    auto &nodes = group.Hb_subscription_grp_union.Hb_node_subscription_grp;
    return {nodes.Hb_num_nodes, nodes.Hb_node_list, sizeof nodes.Hb_node_list};
}

static Members adapters_of(Hb_Subscription_Group &group) {
    auto &adapters = group.Hb_subscription_grp_union.Hb_adapter_subscription_grp;
    return {adapters.Hb_num_adapters, adapters.Hb_adapter_list, sizeof adapters.Hb_adapter_list};
}

static Members sites_of(Hb_Subscription_Group &group) {
    auto &sites = group.Hb_subscription_grp_union.Hb_site_subscription_grp;
    return {sites.Hb_num_sites, sites.Hb_site_list, sizeof sites.Hb_site_list};
}

Hb_Rc hb_empty_subscription_group(Hb_Subscription_Group *group) {
    if (!hb_ready(group)) {
        return Hb_Failure;
    }
    group->Hb_subscription_type = Hb_Empty_Subscription;
    return Hb_Success;
}

// ---- Adding and removing ----

namespace {

// The outcome of the type check that follows the checks of the numbers.
enum class Change { rejected, done, change_bit };

} // namespace

// Turns an empty group into one of `kind`. A group of a rejected type is not changed and sets error 11.
static Change begin_change(Hb_Subscription_Group &group, Members members, Hb_Subscription_Type kind, bool add,
                           std::initializer_list<Hb_Subscription_Type> rejected) {
    if (group.Hb_subscription_type == Hb_Empty_Subscription) {
        members.clear();
        group.Hb_subscription_type = kind;
        return add ? Change::change_bit : Change::done;
    }
    for (const Hb_Subscription_Type type : rejected) {
        if (group.Hb_subscription_type == type) {
            set_hb_errno(HB_ERROR_WRONG_SUBSCRIPTION_TYPE);
            return Change::rejected;
        }
    }
    return Change::change_bit;
}

static Hb_Rc change_member(Hb_Subscription_Group &group, Members members, std::size_t number, bool add,
                           Hb_Subscription_Type kind, std::initializer_list<Hb_Subscription_Type> rejected) {
    const Change change = begin_change(group, members, kind, add, rejected);
    if (change == Change::change_bit) {
        members.change(number, add);
    }
    return change != Change::rejected ? Hb_Success : Hb_Failure;
}

Hb_Rc hb_change_node_subscription_group(Hb_Subscription_Group *group, Hb_Node_Number node, int add) {
    if (!hb_ready(group) || !hb_check_node(node)) {
        return Hb_Failure;
    }
    return change_member(*group, nodes_of(*group), static_cast<std::size_t>(node), add != 0,
                         Hb_Node_Subscription, {Hb_Adapter_Subscription, Hb_Site_Subscription});
}

Hb_Rc hb_change_adapter_subscription_group(Hb_Subscription_Group *group, Hb_Adapter_Number adapter, int add) {
    if (!hb_ready(group) || !hb_check_adapter(adapter)) {
        return Hb_Failure;
    }
    return change_member(*group, adapters_of(*group), adapter, add != 0, Hb_Adapter_Subscription,
                         {Hb_Node_Subscription, Hb_Site_Subscription});
}

Hb_Rc hb_change_site_subscription_group(Hb_Subscription_Group *group, Hb_Site_Number site, int add) {
    if (!hb_ready(group) || !hb_check_site(site)) {
        return Hb_Failure;
    }
    return change_member(*group, sites_of(*group), site, add != 0, Hb_Site_Subscription,
                         {Hb_Adapter_Subscription, Hb_Node_Subscription});
}

// A network group represents exactly one network, so it also rejects other networks.
Hb_Rc hb_change_network_in_subscription_group(Hb_Subscription_Group *group, Hb_Network_Number network,
                                              int add) {
    if (!hb_ready(group) || !hb_check_network(network)) {
        return Hb_Failure;
    }
    Members members = adapters_of(*group);
    const Change change = begin_change(
        *group, members, Hb_Network_Subscription, add != 0,
        {Hb_Node_Subscription, Hb_Adapter_Subscription, Hb_Network_Subscription, Hb_Site_Subscription});
    if (change == Change::change_bit) {
        for (const Hb_Adapter_Entry &entry : hb_configured_adapters()) {
            if (entry.Hb_network == network && entry.Hb_adapter_num < HB_ADAPTER_SLOTS) {
                members.change(entry.Hb_adapter_num, add != 0);
            }
        }
    }
    return change != Change::rejected ? Hb_Success : Hb_Failure;
}

Hb_Rc hb_add_node_to_subscription_group(Hb_Subscription_Group *group, Hb_Node_Number node) {
    return hb_change_node_subscription_group(group, node, 1);
}

Hb_Rc hb_remove_node_from_subscription_group(Hb_Subscription_Group *group, Hb_Node_Number node) {
    return hb_change_node_subscription_group(group, node, 0);
}

Hb_Rc hb_add_adapter_to_subscription_group(Hb_Subscription_Group *group, Hb_Adapter_Number adapter) {
    return hb_change_adapter_subscription_group(group, adapter, 1);
}

Hb_Rc hb_remove_adapter_from_subscription_group(Hb_Subscription_Group *group, Hb_Adapter_Number adapter) {
    return hb_change_adapter_subscription_group(group, adapter, 0);
}

Hb_Rc hb_add_network_to_subscription_group(Hb_Subscription_Group *group, Hb_Network_Number network) {
    return hb_change_network_in_subscription_group(group, network, 1);
}

Hb_Rc hb_remove_network_from_subscription_group(Hb_Subscription_Group *group, Hb_Network_Number network) {
    return hb_change_network_in_subscription_group(group, network, 0);
}

Hb_Rc hb_add_site_to_subscription_group(Hb_Subscription_Group *group, Hb_Site_Number site) {
    return hb_change_site_subscription_group(group, site, 1);
}

Hb_Rc hb_remove_site_from_subscription_group(Hb_Subscription_Group *group, Hb_Site_Number site) {
    return hb_change_site_subscription_group(group, site, 0);
}

// ---- Adding all ----

Hb_Rc hb_add_all_nodes_to_subscription_group(Hb_Subscription_Group *group) {
    if (!hb_ready(group)) {
        return Hb_Failure;
    }
    group->Hb_subscription_type = Hb_Node_Subscription;
    Members members = nodes_of(*group);
    members.clear();
    for (int node = 0; node < hb_node_bound(); ++node) {
        if (global_node_tbl[node] != Hb_False) {
            members.set(static_cast<std::size_t>(node));
        }
    }
    members.count = global_num_nodes;
    return Hb_Success;
}

Hb_Rc hb_add_all_adapters_to_subscription_group(Hb_Subscription_Group *group) {
    if (!hb_ready(group)) {
        return Hb_Failure;
    }
    group->Hb_subscription_type = Hb_Adapter_Subscription;
    Members members = adapters_of(*group);
    members.clear();
    for (const Hb_Adapter_Entry &entry : hb_configured_adapters()) {
        if (entry.Hb_adapter_num < HB_ADAPTER_SLOTS) {
            members.set(entry.Hb_adapter_num);
        }
    }
    members.count = global_config_tbl.Hb_num_adapters;
    return Hb_Success;
}

Hb_Rc hb_add_all_sites_to_subscription_group(Hb_Subscription_Group *group) {
    if (!hb_ready(group)) {
        return Hb_Failure;
    }
    group->Hb_subscription_type = Hb_Site_Subscription;
    Members members = sites_of(*group);
    members.clear();
    for (int site = 0; site < hb_site_bound(); ++site) {
        if (global_site_tbl[site] != Hb_False) {
            members.set(static_cast<std::size_t>(site));
        }
    }
    members.count = global_num_sites;
    return Hb_Success;
}

// ---- Iterations ----

template <typename Item>
static Hb_Rc iterate_members(Hb_Subscription_Group &group, Hb_Subscription_Type kind, const Members &members,
                             Item *item, Item none, bool first, int bound) {
    if (group.Hb_subscription_type != kind) {
        return hb_fail(HB_ERROR_WRONG_SUBSCRIPTION_TYPE);
    }
    const int number = hb_next_bit(members.bitmap, hb_start_of_walk(group.Hb_cursor, first), bound);
    return hb_finish_step(item, none, &group.Hb_cursor, number, bound,
                          [](int found) { return static_cast<Item>(found); });
}

Hb_Rc process_node_subscription(Hb_Subscription_Group *group, Hb_Node_Number *node, int first) {
    if (!hb_ready(group, node)) {
        return Hb_Failure;
    }
    return iterate_members(*group, Hb_Node_Subscription, nodes_of(*group), node, HB_NO_NODE, first != 0,
                           hb_node_bound());
}

Hb_Rc process_adapter_subscription(Hb_Subscription_Group *group, Hb_Adapter_Number *adapter, int first) {
    if (!hb_ready(group, adapter)) {
        return Hb_Failure;
    }
    return iterate_members(*group, Hb_Adapter_Subscription, adapters_of(*group), adapter, HB_NO_ADAPTER,
                           first != 0, static_cast<int>(hb_adapter_number_bound(global_config_tbl)));
}

Hb_Rc process_site_subscription(Hb_Subscription_Group *group, Hb_Site_Number *site, int first) {
    if (!hb_ready(group, site)) {
        return Hb_Failure;
    }
    return iterate_members(*group, Hb_Site_Subscription, sites_of(*group), site, HB_NO_SITE, first != 0,
                           std::min(global_config_tbl.Hb_max_sites, SITE_BITS));
}

Hb_Rc hb_get_first_subscription_node(Hb_Subscription_Group *group, Hb_Node_Number *node) {
    return process_node_subscription(group, node, 1);
}

Hb_Rc hb_get_next_subscription_node(Hb_Subscription_Group *group, Hb_Node_Number *node) {
    return process_node_subscription(group, node, 0);
}

Hb_Rc hb_get_first_subscription_adapter(Hb_Subscription_Group *group, Hb_Adapter_Number *adapter) {
    return process_adapter_subscription(group, adapter, 1);
}

Hb_Rc hb_get_next_subscription_adapter(Hb_Subscription_Group *group, Hb_Adapter_Number *adapter) {
    return process_adapter_subscription(group, adapter, 0);
}

Hb_Rc hb_get_first_subscription_site(Hb_Subscription_Group *group, Hb_Site_Number *site) {
    return process_site_subscription(group, site, 1);
}

Hb_Rc hb_get_next_subscription_site(Hb_Subscription_Group *group, Hb_Site_Number *site) {
    return process_site_subscription(group, site, 0);
}

// ---- Subscribing ----

static bool is_valid_mask(int events) {
    return events != HB_EVENT_NONE && (static_cast<unsigned>(events) & ~ALL_EVENTS) == 0;
}

// Gives the group the type that the request needs. Returns the type to restore afterwards, if the two differ.
static std::optional<Hb_Subscription_Type> choose_request_type(Hb_Subscription_Group &group, int events) {
    Hb_Subscription_Type &type = group.Hb_subscription_type;
    if (events == SITE_EVENTS) {
        type = Hb_All_Sites_Subscription;
        return Hb_Site_Subscription;
    }
    if (events == DIFFERENT_INSTANCE_EVENTS) {
        type = Hb_Diff_Inst_Num_Subscription;
        return {};
    }
    if (type == Hb_Adapter_Subscription && adapters_of(group).count == global_config_tbl.Hb_num_adapters) {
        type = Hb_All_Adapters_Subscription;
        return Hb_Adapter_Subscription;
    }
    if (type == Hb_Node_Subscription && nodes_of(group).count == global_num_nodes) {
        type = Hb_All_Nodes_Subscription;
        return Hb_Node_Subscription;
    }
    return {};
}

Hb_Rc hb_subscribe(char *group_name, Hb_Subscription_Group *group, int events) {
    if (!hb_given(group_name, group)) {
        return Hb_Failure;
    }
    if (!is_valid_mask(events)) {
        return hb_fail(HB_ERROR_BAD_ARGUMENT);
    }
    const std::optional<Hb_Subscription_Type> type_afterwards = choose_request_type(*group, events);
    if (group->Hb_subscription_type == Hb_Empty_Subscription) {
        return hb_fail(HB_ERROR_WRONG_SUBSCRIPTION_TYPE);
    }
    hb_set_name(group->Hb_name, group_name);
    group->Hb_events = events;
    const Hb_Rc result = MOX_handle_subscription(group_name, group);
    if (type_afterwards) {
        group->Hb_subscription_type = *type_afterwards;
    }
    return result;
}

// A request for a new group, and its trace records.
struct Wake_Up {
    char request;
    Hb_Trace_Id failed;
    Hb_Trace_Id woken;
};
static constexpr Wake_Up WAKE_FOR_NODES = {MOX_NEW_NODE_GROUP, HB_TR_SUBSCRIBE_NODE_WAKE_FAILED,
                                           HB_TR_SUBSCRIBE_NODE_WOKEN};
static constexpr Wake_Up WAKE_FOR_ADAPTERS = {MOX_NEW_ADAPTER_GROUP, HB_TR_SUBSCRIBE_NETWORK_WAKE_FAILED,
                                              HB_TR_SUBSCRIBE_NETWORK_WOKEN};

// In MOX mode the new-group handler delivers the first event of a subscription. Without it the subscription
// would never report anything, so the call fails.
static Hb_Rc wake(const Wake_Up &wake_up) {
    const int fd = new_group_event_handler_p != nullptr ? new_group_event_handler_p->getWriteFd() : -1;
    const int written = MOX_write_byte(fd, wake_up.request);
    if (written == 1) {
        hb_trace_values(HB_TRACE_INFO, wake_up.woken, fd);
        return Hb_Success;
    }
    hb_trace_values(HB_TRACE_INFO, wake_up.failed, written, int{errno});
    return hb_fail(HB_ERROR_WAKE_UP_FAILED);
}

static Hb_Rc request_new_group(Hb_Subscription_Type type) {
    switch (type) {
    case Hb_Node_Subscription:
    case Hb_All_Nodes_Subscription:
        return wake(WAKE_FOR_NODES);
    case Hb_Adapter_Subscription:
    case Hb_All_Adapters_Subscription:
    case Hb_Network_Subscription:
        return wake(WAKE_FOR_ADAPTERS);
    default:
        return Hb_Success; // sites and other instances have no group
    }
}

// Daemon mode stores the name too: after a migration it names the events that the library makes itself.
static void remember_name(char *name, Hb_Subscription_Type type) {
    switch (type) {
    case Hb_Node_Subscription:
    case Hb_All_Nodes_Subscription:
        hb_set_name(nodeEventSubscriptionName, name);
        break;
    case Hb_Adapter_Subscription:
    case Hb_All_Adapters_Subscription:
    case Hb_Network_Subscription:
        hb_set_name(networkEventSubscriptionName, name);
        break;
    case Hb_Site_Subscription:
    case Hb_All_Sites_Subscription:
        hb_set_name(siteEventSubscriptionName, name);
        break;
    default:
        break;
    }
}

static Hb_Rc send_to_daemon(Hb_Subscription_Group &group) {
    return hb_send(HB_SUBSCRIBE, &group, static_cast<int>(sizeof group));
}

Hb_Rc MOX_handle_subscription(char *name, Hb_Subscription_Group *group) {
    remember_name(name, group->Hb_subscription_type);
    return IsMOX ? request_new_group(group->Hb_subscription_type) : send_to_daemon(*group);
}

static void forget_name(const char *name) {
    for (Hb_Name *slot :
         {&nodeEventSubscriptionName, &networkEventSubscriptionName, &siteEventSubscriptionName}) {
        if (std::strcmp(*slot, name) == 0) {
            hb_set_name(*slot, "");
        }
    }
}

Hb_Rc hb_unsubscribe(const char *name) {
    if (!hb_ready(name)) {
        return Hb_Failure;
    }
    if (IsMOX) {
        forget_name(name);
        return Hb_Success;
    }
    Hb_Name sent;
    hb_set_name(sent, name);
    return hb_send(HB_UNSUBSCRIBE, sent, static_cast<int>(std::strlen(sent) + 1));
}

// ---- Acknowledging site events ----

static Hb_Rc acknowledge_site_event() {
    return Hb_Success;
}

Hb_Rc hb_site_down(Hb_Group * /*group*/) {
    return acknowledge_site_event();
}

Hb_Rc hb_site_merge(Hb_Group * /*group*/) {
    return acknowledge_site_event();
}
