#include "lib/hb_communication/event_apply.h"

#include <cstring>

#include "lib/base/error_number.h"
#include "lib/base/none_values.h"
#include "lib/base/text.h"
#include "lib/hb_global_data/configuration_checks.h"
#include "lib/wire/packet.h"

Hb_Client_Hb_Info client_hb_info = {};

namespace {

// All 43 bytes, as they came; only a last byte that is no NUL is made one.
void copy_ffdc_id(Hb_Group *group, const client_packet *pack) {
    std::memcpy(group->Hb_ffdc_id, pack->ffdc_id, HB_FFDC_ID_SIZE);
    group->Hb_ffdc_id[HB_FFDC_ID_SIZE - 1] = '\0';
}

void set_adapter_state(Hb_Adapter_Number adapter, Hb_Entity_State state) {
    if (global_config_tbl.adap_hash == nullptr) {
        return;
    }
    auto *entry = static_cast<Hb_Adapter_Entry *>(Hash_search(adapter, global_config_tbl.adap_hash));
    if (entry == nullptr) {
        return;
    }
    entry->Hb_state = state;
    if (state == Hb_Entity_Undef) {
        set_hb_errno(HB_ERROR_ADAPTER_STATE_UNKNOWN);
    }
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

void fill_adapter_list(Hb_Adapter_Membership_Grp &members, const client_packet *pack) {
    std::memset(members.Hb_adapter_list, 0xFF,
                sizeof(Hb_Incarnation) * hb_adapter_number_bound(global_config_tbl));
    const Hb_Entity_State state = adapter_state_after(pack->kind);
    int32_t last = 0;
    std::memcpy(&last, pack->message, sizeof last);
    const char *pairs = pack->message + sizeof last;
    for (int32_t i = 0; i <= last; ++i) {
        Hb_Adapter_Event_Pair pair;
        std::memcpy(&pair, pairs + sizeof pair * static_cast<std::size_t>(i), sizeof pair);
        if (pair.adapter >= HB_ADAPTER_SLOTS) {
            continue;
        }
        members.Hb_adapter_list[pair.adapter] = pair.incarnation;
        set_adapter_state(pair.adapter, state);
    }
    members.Hb_num_adapters = last + 1;
}

int fill_node_list(Hb_Node_Membership_Grp &members, const client_packet *pack) {
    const int nodes = hb_node_bound();
    int count = 0;
    for (int node = 0; node < nodes; ++node) {
        Hb_Boolean entry = 0;
        std::memcpy(&entry, pack->message + sizeof entry * static_cast<std::size_t>(node), sizeof entry);
        members.Hb_node_list[node] = entry;
        if (entry == Hb_True) {
            ++count;
            set_node_state(node, pack->kind);
        }
    }
    return count;
}

void take_heartbeat(const client_packet *pack) {
    Hb_Heartbeat_Body body;
    std::memcpy(&body, pack->message, sizeof body);
    client_hb_info.client_hb_thresh = {body.threshold_seconds, body.threshold_microseconds};
    client_hb_info.client_hb_is_enabled = body.enabled;
    client_hb_info.client_hb_daemon_pid = body.daemon_pid;
}

} // namespace

Hb_Rc hb_get_adapter_event(int *events, char *name, Hb_Group *group, client_packet *pack) {
    Hb_Adapter_Membership_Grp &members = group->Hb_membership_grp_union.Hb_adapter_membership_grp;
    fill_adapter_list(members, pack);
    group->Hb_group_type = Hb_Adapter_Group;
    if (pack->kind == HB_ADAPTER_NEW_GROUP) {
        members.Hb_group_leader = pack->leader_id.word[0];
        members.Hb_group_incarnation = pack->group_id.word[1];
        group->Hb_group_status = pack->group_status;
        *events = HB_EVENT_NEW_GROUP;
    } else {
        members.Hb_group_leader = HB_NO_ADAPTER;
        members.Hb_group_incarnation = HB_NOT_IN_GROUP;
        group->Hb_group_status = Hb_Group_Unstable;
        *events = pack->kind == HB_ADAPTER_DEATH ? HB_EVENT_DEATH : HB_EVENT_JOIN;
    }
    group->Hb_events = *events;
    hb_copy_text(name, pack->subscription_name);
    hb_free_packet(pack);
    return Hb_Success;
}

Hb_Rc hb_get_node_event(int *events, char *name, Hb_Group *group, client_packet *pack) {
    if (pack->kind != HB_NODE_HEARTBEAT) {
        Hb_Node_Membership_Grp &members = group->Hb_membership_grp_union.Hb_node_membership_grp;
        const int count = fill_node_list(members, pack);
        group->Hb_group_type = Hb_Node_Group;
        members.Hb_num_nodes = count;
    }
    switch (pack->kind) {
    case HB_NODE_NEW_GROUP:
        *events = HB_EVENT_NEW_GROUP;
        group->Hb_group_status = pack->group_status;
        break;
    case HB_NODE_HEARTBEAT:
        *events = HB_EVENT_HEARTBEAT;
        take_heartbeat(pack);
        break;
    default:
        *events = pack->kind == HB_NODE_DEATH ? HB_EVENT_DEATH : HB_EVENT_JOIN;
        group->Hb_group_status = Hb_Group_Unstable;
        copy_ffdc_id(group, pack);
        break;
    }
    group->Hb_events = *events;
    hb_copy_text(name, pack->subscription_name);
    hb_free_packet(pack);
    return Hb_Success;
}

void hb_apply_ffdc_id(const client_packet *pack, int *events, char *name, Hb_Group *group) {
    *events = HB_EVENT_FFDC;
    std::strcpy(name, HB_EVENT_NAME_FFDC);
    group->Hb_events = HB_EVENT_FFDC;
    copy_ffdc_id(group, pack);
}

void hb_apply_different_instance(const client_packet *pack, int *events, char *name, Hb_Group *group) {
    *events = HB_EVENT_DIFF_INSTANCE;
    hb_copy_text(name, pack->subscription_name);
    std::memcpy(&group->Hb_membership_grp_union.diff_instance_info, pack->message,
                sizeof(struct diff_instance_info));
    group->Hb_events = HB_EVENT_DIFF_INSTANCE;
    group->Hb_group_type = Hb_Diff_Instance_Type;
}
