// SPDX-License-Identifier: Apache-2.0
// Fills the caller's group record for one event, or copies it from a queued event.
#include <algorithm>
#include <cstring>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/hb_global_data/group_record.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/mox/event_output.h"
#include "lib/mox/handlers/MOX_ORBFSHandler.h"

namespace {

void copy_header(const Hb_Group &from, Hb_Group &to) {
    to.Hb_group_status = from.Hb_group_status;
    to.Hb_group_type = from.Hb_group_type;
    to.Hb_events = from.Hb_events;
}

// The local side's node number in the destination stays. The remote side is copied completely.
void copy_sides(const Hb_Site_Info &local_from, const Hb_Site_Info &remote_from, Hb_Site_Info &local_to,
                Hb_Site_Info &remote_to) {
    const uint32_t node_number = local_to.node_number;
    local_to = local_from;
    local_to.node_number = node_number;
    remote_to = remote_from;
}

bool can_copy(const Hb_Group *from, const Hb_Group *to) {
    if (from != nullptr && to != nullptr) {
        return true;
    }
    hb_trace_id(HB_TRACE_INFO, HB_TR_COPY_WITHOUT_GROUP);
    return false;
}

void set_name(char *subscription_name, const char *name) {
    std::strcpy(subscription_name, name);
}

} // namespace

void ORBFSHandler::fillInNodeEventInfo(int node, int events, char *subscription_name, Hb_Group *group) {
    if (nodeEventSubscriptionName[0] == '\0') {
        set_name(subscription_name, MOX_EMPTY_EVENT);
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_NODE_EVENT_UNSUBSCRIBED, node, events);
    } else {
        set_name(subscription_name, nodeEventSubscriptionName);
    }
    if (group == nullptr) {
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_NODE_EVENT_WITHOUT_GROUP, node, events);
        return;
    }
    group->Hb_group_status = Hb_Group_Stable;
    reset_node_membership_group_node_list(group);
    auto &nodes = group->Hb_membership_grp_union.Hb_node_membership_grp;
    if (node >= 0 && node < HB_NODE_SLOTS) {
        nodes.Hb_node_list[node] = Hb_True;
    }
    group->Hb_events = events;
    group->Hb_group_type = Hb_Node_Group;
    nodes.Hb_num_nodes = 1;
}

void ORBFSHandler::fillInOneAdapterEvent(int *events, char *subscription_name, Hb_Group *group,
                                         unsigned long *length) {
    if (networkEventSubscriptionName[0] == '\0') {
        *events = HB_EVENT_NONE;
        set_name(subscription_name, MOX_EMPTY_EVENT);
        hb_trace_id(HB_TRACE_INFO, HB_TR_ADAPTER_EVENT_UNSUBSCRIBED);
    } else {
        set_name(subscription_name, networkEventSubscriptionName);
    }
    if (group != nullptr) {
        auto &adapters = group->Hb_membership_grp_union.Hb_adapter_membership_grp;
        group->Hb_group_status = Hb_Group_Stable;
        group->Hb_group_type = Hb_Adapter_Group;
        adapters.Hb_group_leader = HB_NOT_IN_GROUP;
        adapters.Hb_group_incarnation = HB_NOT_IN_GROUP;
        group->Hb_events = *events;
    } else {
        hb_trace_id(HB_TRACE_ERRORS, HB_TR_ADAPTER_EVENT_WITHOUT_GROUP);
    }
    *length = 0;
}

void ORBFSHandler::fillInSiteEventInfo(int, int, char *, Hb_Group *) {}

void ORBFSHandler::copy_node_Hb_Group(Hb_Group *from, Hb_Group *to) {
    if (can_copy(from, to)) {
        copy_header(*from, *to);
        to->Hb_membership_grp_union.Hb_node_membership_grp =
            from->Hb_membership_grp_union.Hb_node_membership_grp;
    }
}

void ORBFSHandler::copy_adapter_Hb_Group(Hb_Group *from, Hb_Group *to) {
    if (!can_copy(from, to)) {
        return;
    }
    copy_header(*from, *to);
    const auto &source = from->Hb_membership_grp_union.Hb_adapter_membership_grp;
    auto &target = to->Hb_membership_grp_union.Hb_adapter_membership_grp;
    target.Hb_group_leader = source.Hb_group_leader;
    target.Hb_group_incarnation = source.Hb_group_incarnation;
    std::copy_n(source.Hb_adapter_list, hb_adapter_number_bound(global_config_tbl), target.Hb_adapter_list);
    target.Hb_num_adapters = source.Hb_num_adapters;
}

void ORBFSHandler::copy_site_merge_Hb_Group(Hb_Group *from, Hb_Group *to) {
    if (!can_copy(from, to)) {
        return;
    }
    copy_header(*from, *to);
    const auto &source = from->Hb_membership_grp_union.site_merge_info;
    auto &target = to->Hb_membership_grp_union.site_merge_info;
    target.num_local_up_nodes = source.num_local_up_nodes;
    target.num_remote_up_nodes = source.num_remote_up_nodes;
    copy_sides(source.local_site, source.remote_site, target.local_site, target.remote_site);
}

void ORBFSHandler::copy_site_split_Hb_Group(Hb_Group *from, Hb_Group *to) {
    if (!can_copy(from, to)) {
        return;
    }
    copy_header(*from, *to);
    const auto &source = from->Hb_membership_grp_union.site_split_info;
    auto &target = to->Hb_membership_grp_union.site_split_info;
    copy_sides(source.local_site, source.remote_site, target.local_site, target.remote_site);
}
