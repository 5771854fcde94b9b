// SPDX-License-Identifier: Apache-2.0
#include "lib/api/hb_membership.h"

#include <cstring>

#include "lib/api/argument_check.h"
#include "lib/api/iteration.h"
#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/errno_keeper.h"
#include "lib/base/none_values.h"
#include "lib/hb_communication/member_list.h"
#include "lib/hb_global_data/configuration_checks.h"

static constexpr Hb_Incarnation REMOVED_FLAG = 0x08000000U;

static bool check_type(const Hb_Group &group, Hb_Group_Type type) {
    return group.Hb_group_type == type || hb_refuse(HB_ERROR_WRONG_GROUP_TYPE);
}

static bool check_new_group(const Hb_Group &group) {
    return group.Hb_events == HB_EVENT_NEW_GROUP || hb_refuse(HB_ERROR_NOT_AVAILABLE);
}

static const Hb_Adapter_Membership_Grp &adapters_of(const Hb_Group &group) {
    return group.Hb_membership_grp_union.Hb_adapter_membership_grp;
}

static const Hb_Node_Membership_Grp &nodes_of(const Hb_Group &group) {
    return group.Hb_membership_grp_union.Hb_node_membership_grp;
}

// ---- Iterations ----

Hb_Rc process_node_group(Hb_Group *group, Hb_Node_Number *node, int first) {
    if (!hb_ready(group, node) || !check_type(*group, Hb_Node_Group)) {
        return Hb_Failure;
    }
    const Hb_Boolean *list = nodes_of(*group).Hb_node_list;
    return hb_iterate_numbers(node, HB_NO_NODE, &group->Hb_cursor, first != 0, hb_node_bound(),
                              [list](int n) { return list[n] == Hb_True; });
}

Hb_Rc hb_get_first_node(Hb_Group *group, Hb_Node_Number *node) {
    return process_node_group(group, node, 1);
}

Hb_Rc hb_get_next_node(Hb_Group *group, Hb_Node_Number *node) {
    return process_node_group(group, node, 0);
}

Hb_Rc process_adapter_group(Hb_Group *group, Hb_Adapter_Identifier *adapter, int first) {
    if (!hb_ready(group, adapter)) {
        return Hb_Failure;
    }
    hb_trace_values(HB_TRACE_DEBUG, HB_TR_ADAPTER_ITERATION_ENTRY, group->Hb_group_type, group->Hb_cursor);
    if (!check_type(*group, Hb_Adapter_Group)) {
        hb_trace_id(HB_TRACE_DEBUG, HB_TR_ADAPTER_ITERATION_WRONG_TYPE);
        return Hb_Failure;
    }
    const Hb_Incarnation *list = adapters_of(*group).Hb_adapter_list;
    const int bound = static_cast<int>(hb_adapter_number_bound(global_config_tbl));
    const int index = hb_next_member(list, hb_start_of_walk(group->Hb_cursor, first != 0), bound);
    const bool found = index < bound;
    hb_trace_values(HB_TRACE_DEBUG, HB_TR_ADAPTER_ITERATION_REACHED, found ? 1 : 0, index);
    if (!found) {
        hb_trace_values(HB_TRACE_DEBUG, HB_TR_ADAPTER_ITERATION_CURSOR, group->Hb_cursor);
        return hb_fail(HB_ERROR_NO_MORE);
    }
    const Hb_Incarnation stored = list[index];
    adapter->Hb_adapter_number = static_cast<Hb_Adapter_Number>(index);
    adapter->Hb_died_because_removed = (stored & REMOVED_FLAG) != 0 ? Hb_True : Hb_False;
    adapter->Hb_incarnation = stored & ~REMOVED_FLAG;
    group->Hb_cursor = index + 1;
    hb_trace_values(HB_TRACE_DEBUG, HB_TR_ADAPTER_ITERATION_CURSOR, group->Hb_cursor);
    return Hb_Success;
}

Hb_Rc hb_get_first_adapter(Hb_Group *group, Hb_Adapter_Identifier *adapter) {
    return process_adapter_group(group, adapter, 1);
}

Hb_Rc hb_get_next_adapter(Hb_Group *group, Hb_Adapter_Identifier *adapter) {
    return process_adapter_group(group, adapter, 0);
}

// ---- Single members ----

Hb_Boolean hb_is_node_in_group(Hb_Group *group, Hb_Node_Number node) {
    if (!hb_given(group) || !hb_check_node_range(node) || !check_type(*group, Hb_Node_Group)) {
        return Hb_False;
    }
    return nodes_of(*group).Hb_node_list[node];
}

Hb_Boolean hb_is_adapter_in_group(Hb_Group *group, Hb_Adapter_Number adapter) {
    if (!hb_given(group) || !hb_check_adapter_range(adapter) || !check_type(*group, Hb_Adapter_Group)) {
        return Hb_False;
    }
    return adapters_of(*group).Hb_adapter_list[adapter] != HB_NOT_IN_GROUP ? Hb_True : Hb_False;
}

Hb_Rc hb_get_adapter_id(Hb_Group *group, Hb_Adapter_Number adapter, Hb_Adapter_Identifier *id) {
    if (!hb_ready(group, id) || !hb_check_adapter_range(adapter) || !check_type(*group, Hb_Adapter_Group)) {
        return Hb_Failure;
    }
    const Hb_Incarnation stored = adapters_of(*group).Hb_adapter_list[adapter];
    if (stored == HB_NOT_IN_GROUP) {
        return hb_fail(HB_ERROR_ADAPTER_NOT_CONFIGURED);
    }
    id->Hb_adapter_number = adapter;
    id->Hb_incarnation = stored;
    return Hb_Success;
}

// ---- The group ----

Hb_Rc hb_get_group_status(Hb_Group *group, int *status) {
    if (!hb_ready(group, status) || !check_new_group(*group)) {
        return Hb_Failure;
    }
    *status = group->Hb_group_status;
    return Hb_Success;
}

static bool check_new_adapter_group(const Hb_Group &group) {
    return check_type(group, Hb_Adapter_Group) && check_new_group(group);
}

Hb_Rc hb_get_group_leader_id(Hb_Group *group, Hb_Adapter_Identifier *id) {
    if (!hb_ready(group, id) || !check_new_adapter_group(*group)) {
        return Hb_Failure;
    }
    const Hb_Adapter_Number leader = adapters_of(*group).Hb_group_leader;
    if (leader >= HB_ADAPTER_SLOTS) {
        return hb_fail(HB_ERROR_BAD_ARGUMENT);
    }
    id->Hb_adapter_number = leader;
    id->Hb_incarnation = adapters_of(*group).Hb_adapter_list[leader];
    return Hb_Success;
}

Hb_Rc hb_get_group_id(Hb_Group *group, Hb_Group_Identifier *id) {
    if (!hb_ready(group, id) || !check_new_adapter_group(*group)) {
        return Hb_Failure;
    }
    id->Hb_adapter_number = adapters_of(*group).Hb_group_leader;
    id->Hb_incarnation = adapters_of(*group).Hb_group_incarnation;
    return Hb_Success;
}

static bool may_carry_ffdc_id(Hb_Events events) {
    return events == HB_EVENT_DEATH || events == HB_EVENT_JOIN || events == HB_EVENT_FFDC;
}

Hb_Rc hb_get_FFDC_id(Hb_Group *group, Hb_FFDC_Id *ffdc_id) {
    if (!hb_ready(group, ffdc_id)) {
        return Hb_Failure;
    }
    if (!may_carry_ffdc_id(group->Hb_events) || group->Hb_ffdc_id[0] == '\0') {
        return hb_fail(HB_ERROR_NOT_AVAILABLE);
    }
    std::memcpy(*ffdc_id, group->Hb_ffdc_id, sizeof *ffdc_id);
    (*ffdc_id)[sizeof *ffdc_id - 1] = '\0';
    return Hb_Success;
}

Hb_Rc hb_get_different_instance_sender(Hb_Group *group, diff_instance_info *info) {
    if (!hb_ready(group, info)) {
        return Hb_Failure;
    }
    if (group->Hb_events != HB_EVENT_DIFF_INSTANCE || group->Hb_group_type != Hb_Diff_Instance_Type) {
        return hb_fail(HB_ERROR_NOT_AVAILABLE);
    }
    *info = group->Hb_membership_grp_union.diff_instance_info;
    return Hb_Success;
}

Hb_Rc hb_get_site_merge_info(Hb_Group *group, site_merge_info *info) {
    if (!hb_given(group, info)) {
        return Hb_Failure;
    }
    *info = group->Hb_membership_grp_union.site_merge_info;
    return Hb_Success;
}

Hb_Rc hb_get_site_split_info(Hb_Group *group, site_split_info *info) {
    if (!hb_given(group, info)) {
        return Hb_Failure;
    }
    *info = group->Hb_membership_grp_union.site_split_info;
    return Hb_Success;
}

// ---- Adapter identifiers ----

Hb_Incarnation hb_adapter_incarnation(Hb_Adapter_Identifier *id) {
    return hb_given(id) ? id->Hb_incarnation : HB_NOT_IN_GROUP;
}

Hb_Boolean hb_has_adapter_died_because_removed(Hb_Adapter_Identifier *id) {
    if (!hb_given(id)) {
        return Hb_False;
    }
    return hb_init() == Hb_Success ? id->Hb_died_because_removed : Hb_Failure;
}
