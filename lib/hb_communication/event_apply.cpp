// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_communication/event_apply.h"

#include <cstring>

#include "lib/base/error_number.h"
#include "lib/base/none_values.h"
#include "lib/base/text.h"
#include "lib/hb_communication/member_list.h"
#include "lib/hb_global_data/adapter_run.h"
#include "lib/hb_global_data/configuration_checks.h"
#include "lib/wire/packet.h"

Hb_Client_Hb_Info client_hb_info = {};

namespace {

// All 43 bytes are copied as they came; the last one always becomes a NUL.
void copy_ffdc_id(Hb_Group &group, const Hb_FFDC_Id &ffdc_id) {
    std::memcpy(group.Hb_ffdc_id, ffdc_id, HB_FFDC_ID_SIZE);
    group.Hb_ffdc_id[HB_FFDC_ID_SIZE - 1] = '\0';
}

void set_node_state(int node, int32_t kind) {
    if (global_config_tbl.node_hash == nullptr) {
        return;
    }
    auto *entry = static_cast<Hb_Node_Entry *>(
        Hash_search(static_cast<unsigned long>(node), global_config_tbl.node_hash));
    if (entry == nullptr) {
        return;
    }
    const bool died = kind == HB_NODE_DEATH;
    entry->state = died ? Hb_Entity_Down : Hb_Entity_Up;
    entry->reason = died ? Hb_Entity_State_Reason_Down : Hb_Entity_State_Reason_Up;
}

Hb_Entity_State adapter_state_after(int32_t kind) {
    switch (kind) {
    case HB_ADAPTER_DEATH:
        return Hb_Entity_Down;
    case HB_ADAPTER_JOIN:
    case HB_ADAPTER_NEW_GROUP:
        return Hb_Entity_Up;
    default:
        return Hb_Entity_Undef;
    }
}

void fill_adapter_list(Hb_Adapter_Membership_Grp &members, const Hb_Adapter_Event_View &event) {
    const Hb_Entity_State state = adapter_state_after(event.kind);
    const auto adapters = event.adapters; // a copy: the stores below cannot change it
    Hb_Member_List list(members.Hb_adapter_list, hb_adapter_number_bound(global_config_tbl));
    Hb_Adapter_Run configured(global_config_tbl);
    bool is_state_known = true;
    for (int i = 0; i < adapters.size(); ++i) {
        const Hb_Adapter_Event_Pair pair = adapters[i];
        if (pair.adapter >= HB_ADAPTER_SLOTS) {
            continue;
        }
        list.set(pair.adapter, pair.incarnation);
        Hb_Adapter_Entry *entry = configured.find(pair.adapter);
        if (entry != nullptr) {
            entry->Hb_state = state;
            is_state_known = state != Hb_Entity_Undef;
        }
    }
    list.finish();
    members.Hb_num_adapters = adapters.size();
    if (!is_state_known) {
        set_hb_errno(HB_ERROR_ADAPTER_STATE_UNKNOWN);
    }
}

void fill_node_list(Hb_Node_Membership_Grp &members, const Hb_Node_Event_View &event) {
    int count = 0;
    for (int node = 0; node < event.nodes.size(); ++node) {
        const Hb_Boolean entry = event.nodes[node];
        members.Hb_node_list[node] = entry;
        if (entry == Hb_True) {
            ++count;
            set_node_state(node, event.kind);
        }
    }
    members.Hb_num_nodes = count;
}

int apply(const Hb_Adapter_Event_View &event, char *name, Hb_Group &group) {
    hb_copy_text(name, event.subscription_name);
    Hb_Adapter_Membership_Grp &members = group.Hb_membership_grp_union.Hb_adapter_membership_grp;
    fill_adapter_list(members, event);
    group.Hb_group_type = Hb_Adapter_Group;
    if (event.kind == HB_ADAPTER_NEW_GROUP) {
        members.Hb_group_leader = event.leader;
        members.Hb_group_incarnation = event.group_incarnation;
        group.Hb_group_status = event.group_status;
        return HB_EVENT_NEW_GROUP;
    }
    members.Hb_group_leader = HB_NO_ADAPTER;
    members.Hb_group_incarnation = HB_NOT_IN_GROUP;
    group.Hb_group_status = Hb_Group_Unstable;
    return event.kind == HB_ADAPTER_DEATH ? HB_EVENT_DEATH : HB_EVENT_JOIN;
}

int apply(const Hb_Node_Event_View &event, char *name, Hb_Group &group) {
    hb_copy_text(name, event.subscription_name);
    fill_node_list(group.Hb_membership_grp_union.Hb_node_membership_grp, event);
    group.Hb_group_type = Hb_Node_Group;
    if (event.kind == HB_NODE_NEW_GROUP) {
        group.Hb_group_status = event.group_status;
        return HB_EVENT_NEW_GROUP;
    }
    group.Hb_group_status = Hb_Group_Unstable;
    copy_ffdc_id(group, event.ffdc_id);
    return event.kind == HB_NODE_DEATH ? HB_EVENT_DEATH : HB_EVENT_JOIN;
}

int apply(const Hb_Heartbeat_View &event, char *name, Hb_Group & /*group*/) {
    hb_copy_text(name, event.subscription_name);
    const Hb_Heartbeat_Body &body = event.heartbeat;
    client_hb_info.client_hb_thresh = {body.threshold_seconds, body.threshold_microseconds};
    client_hb_info.client_hb_is_enabled = body.enabled;
    client_hb_info.client_hb_daemon_pid = body.daemon_pid;
    return HB_EVENT_HEARTBEAT;
}

int apply(const Hb_Failure_Id_View &event, char *name, Hb_Group &group) {
    std::strcpy(name, HB_EVENT_NAME_FFDC);
    copy_ffdc_id(group, event.ffdc_id);
    return HB_EVENT_FFDC;
}

int apply(const Hb_Other_Instance_View &event, char *name, Hb_Group &group) {
    hb_copy_text(name, event.subscription_name);
    group.Hb_membership_grp_union.diff_instance_info = event.instance;
    group.Hb_group_type = Hb_Diff_Instance_Type;
    return HB_EVENT_DIFF_INSTANCE;
}

} // namespace

int hb_apply_event(const Hb_Event_View &event, char *name, Hb_Group &group) {
    const int events = std::visit([&](const auto &view) { return apply(view, name, group); }, event);
    group.Hb_events = events;
    return events;
}

Hb_Rc hb_get_adapter_event(int *events, char *name, Hb_Group *group, client_packet *pack) {
    const Hb_Owned_Packet packet(pack);
    *events = hb_apply_event(hb_trusted_adapter_event(packet.get()), name, *group);
    return Hb_Success;
}

Hb_Rc hb_get_node_event(int *events, char *name, Hb_Group *group, client_packet *pack) {
    const Hb_Owned_Packet packet(pack);
    if (packet->kind == HB_NODE_HEARTBEAT) {
        *events = hb_apply_event(hb_trusted_heartbeat(packet.get()), name, *group);
    } else {
        *events = hb_apply_event(hb_trusted_node_event(packet.get(), hb_node_bound()), name, *group);
    }
    return Hb_Success;
}
