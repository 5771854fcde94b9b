// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSNewGroupEventHandler.h"

#include <cerrno>
#include <unistd.h>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/group_record.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/mox/node_adapters.h"
#include "lib/mox/service_lists.h"

namespace {

Hb_Rc nothing_subscribed(Hb_Trace_Id id, const MOX_Event_Output &out) {
    out.report_no_event();
    hb_trace_id(HB_TRACE_INFO, id);
    return Hb_Success;
}

Hb_Rc query_failed(int number, Hb_Trace_Id id, int result) {
    const int error = errno;
    set_hb_errno(number);
    hb_trace_values(HB_TRACE_INFO, id, result, error);
    errno = error;
    return Hb_Failure;
}

// A node that a peer daemon reported dead is no member until a message arrives from it. The local node is
// always a member.
bool is_member(const qz_mox_node_info_t &info) {
    if (info.number >= HB_NODE_SLOTS || MOX_is_leaving(info)) {
        return false;
    }
    const auto node = static_cast<int>(info.number);
    if (node == global_config_tbl.local_node_number) {
        return true;
    }
    const Hb_Node_Entry *known = hb_find_node(global_config_tbl, node);
    const bool is_reported_dead = known != nullptr && known->state == Hb_Entity_Down &&
                                  known->reason == Hb_Entity_State_Reason_KOBAL_Down;
    return info.status == QZ_MOX_NODE_STATUS_UP && !is_reported_dead;
}

void fill_header(Hb_Group *group, Hb_Group_Type type) {
    group->Hb_group_type = type;
    group->Hb_events = HB_EVENT_NEW_GROUP;
    group->Hb_group_status = Hb_Group_Stable;
}

} // namespace

ORBFSNewGroupEventHandler::ORBFSNewGroupEventHandler(int *fds, char *name) : ORBFSPipeHandler(fds, name) {}

ORBFSNewGroupEventHandler::ORBFSNewGroupEventHandler(char *name) : ORBFSPipeHandler(name) {}

ORBFSNewGroupEventHandler::~ORBFSNewGroupEventHandler() = default;

Hb_Rc ORBFSNewGroupEventHandler::build_node_group(const MOX_Event_Output &out) {
    if (nodeEventSubscriptionName[0] == '\0') {
        return nothing_subscribed(HB_TR_NEW_GROUP_NODES_UNSUBSCRIBED, out);
    }
    MOX_Owned<qz_mox_node_info_t> nodes;
    const int result = MOX_query(
        nodes, [](qz_mox_node_info_t **list) { return qz_mox_get_node_info(orbfs_cluster_name, list); });
    if (result != 0) {
        return query_failed(HB_ERROR_NODE_QUERY_FAILED, HB_TR_NEW_GROUP_NO_NODES, result);
    }
    fill_header(out.group, Hb_Node_Group);
    reset_node_membership_group_node_list(out.group);
    auto &members = out.group->Hb_membership_grp_union.Hb_node_membership_grp;
    members.Hb_num_nodes = 0;
    for (const qz_mox_node_info_t *node = nodes.get(); node != nullptr; node = node->p_next) {
        if (is_member(*node) && members.Hb_node_list[node->number] == Hb_False) {
            members.Hb_node_list[node->number] = Hb_True;
            ++members.Hb_num_nodes;
        }
    }
    out.report(HB_EVENT_NEW_GROUP, nodeEventSubscriptionName);
    return Hb_Success;
}

Hb_Rc ORBFSNewGroupEventHandler::build_adapter_group(const MOX_Event_Output &out) {
    if (networkEventSubscriptionName[0] == '\0') {
        return nothing_subscribed(HB_TR_NEW_GROUP_ADAPTERS_UNSUBSCRIBED, out);
    }
    hb_clear_adapter_list(out.group, hb_adapter_number_bound(global_config_tbl));
    MOX_Owned<qz_mox_net_intf_info_t> interfaces;
    const int result = MOX_query(interfaces, [](qz_mox_net_intf_info_t **list) {
        return qz_mox_get_net_intf_info(orbfs_cluster_name, list);
    });
    if (result != 0) {
        return query_failed(HB_ERROR_INTERFACE_QUERY_FAILED, HB_TR_NEW_GROUP_NO_INTERFACES, result);
    }
    fill_header(out.group, Hb_Adapter_Group);
    auto &members = out.group->Hb_membership_grp_union.Hb_adapter_membership_grp;
    members.Hb_group_leader = HB_NOT_IN_GROUP;
    members.Hb_group_incarnation = HB_NOT_IN_GROUP;
    members.Hb_num_adapters = 0;
    uint8_t used[HB_NODE_SLOTS] = {};
    for (const qz_mox_net_intf_info_t *interface = interfaces.get(); interface != nullptr;
         interface = interface->p_next) {
        const uint32_t node = interface->node_number;
        if (node >= HB_NODE_SLOTS || used[node] == MOX_ADAPTERS_PER_NODE || MOX_is_leaving(*interface)) {
            continue;
        }
        const uint32_t adapter = node * MOX_ADAPTERS_PER_NODE + used[node]++;
        if (interface->status == QZ_MOX_INTF_STATUS_UP) {
            members.Hb_adapter_list[adapter] = 0;
            ++members.Hb_num_adapters;
        }
    }
    out.report(HB_EVENT_NEW_GROUP, networkEventSubscriptionName);
    return Hb_Success;
}

Hb_Rc ORBFSNewGroupEventHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    hb_trace_values(HB_TRACE_INFO, HB_TR_NEW_GROUP_ENTRY, orbfs_fd);
    char request = 0;
    const ssize_t got = read(orbfs_fd, &request, 1);
    if (got != 1) {
        const int error = errno;
        hb_trace_values(HB_TRACE_INFO, HB_TR_NEW_GROUP_READ_FAILED, static_cast<int>(got), error);
        hb_trace_values(HB_TRACE_INFO, HB_TR_NEW_GROUP_EXIT, orbfs_fd);
        set_hb_errno(HB_ERROR_NEW_GROUP_READ_FAILED);
        errno = error;
        return Hb_Failure;
    }
    if (orbfs_cluster_name == nullptr) {
        hb_trace_id(HB_TRACE_INFO, HB_TR_NEW_GROUP_NO_CLUSTER_NAME);
    }
    const MOX_Event_Output out = {events, name, group, seqnum_p};
    *out.sequence_number = 0;
    Hb_Rc result = Hb_Failure;
    switch (request) {
    case MOX_NEW_NODE_GROUP:
        result = build_node_group(out);
        break;
    case MOX_NEW_ADAPTER_GROUP:
        result = build_adapter_group(out);
        break;
    default:
        set_hb_errno(HB_ERROR_BAD_NEW_GROUP_REQUEST);
        hb_trace_values(HB_TRACE_INFO, HB_TR_NEW_GROUP_ODD_REQUEST, int{static_cast<unsigned char>(request)},
                        static_cast<int>(got));
        return Hb_Failure;
    }
    if (result == Hb_Success) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NEW_GROUP_EXIT, orbfs_fd);
    }
    return result;
}
