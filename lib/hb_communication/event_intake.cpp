#include "lib/hb_communication/event_intake.h"

#include <cstring>

#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/event_view.h"
#include "lib/hb_communication/reply.h"
#include "lib/hb_communication/snapshot_view.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/error_number.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/session.h"

Hb_Client_Hb_Info client_hb_info = {};

namespace {

constexpr Hb_Adapter_Number no_adapter = 0xFFFFFFFF;

Hb_Rc fail(int number) {
    set_hb_errno(number);
    return Hb_Failure;
}

// At most size - 1 characters and a NUL.
void copy_text(char *to, const char *from, std::size_t size) {
    const std::size_t length = strnlen(from, size - 1);
    std::memcpy(to, from, length);
    to[length] = '\0';
}

void copy_ffdc_id(Hb_Group *group, const client_packet *pack) {
    std::memcpy(group->Hb_ffdc_id, pack->ffdc_id, HB_FFDC_ID_SIZE);
    group->Hb_ffdc_id[HB_FFDC_ID_SIZE - 1] = '\0';
}

void set_adapter_state(Hb_Adapter_Number adapter, Hb_Entity_State state) {
    if (global_config_tbl.adap_hash == nullptr) {
        return;
    }
    auto *entry = static_cast<Hb_Adapter_Entry *>(Hash_search(adapter, global_config_tbl.adap_hash));
    if (entry != nullptr) {
        entry->Hb_state = state;
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
        if (state == Hb_Entity_Undef) {
            set_hb_errno(71);
        }
    }
    members.Hb_num_adapters = last + 1;
}

int fill_node_list(Hb_Node_Membership_Grp &members, const client_packet *pack) {
    const int nodes =
        global_config_tbl.Hb_max_nodes < HB_NODE_SLOTS ? global_config_tbl.Hb_max_nodes : HB_NODE_SLOTS;
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

Hb_Rc take_configuration(const Hb_Packet &packet, int *events, char *name) {
    const std::optional<Hb_Snapshot_View> snapshot = hb_view_snapshot(packet.bytes());
    if (!snapshot) {
        return fail(10);
    }
    if (!hb_load_snapshot(*snapshot)) {
        return Hb_Failure;
    }
    hb_init_global_node_tbl();
    *events = HB_EVENT_CONFIG;
    std::strcpy(name, "Hb_Config_Group");
    return Hb_Success;
}

Hb_Rc take_ffdc_id(const client_packet *pack, int *events, char *name, Hb_Group *group) {
    *events = HB_EVENT_FFDC;
    std::strcpy(name, "Hb_FFDC_Group");
    group->Hb_events = HB_EVENT_FFDC;
    copy_ffdc_id(group, pack);
    return Hb_Success;
}

Hb_Rc take_different_instance(const client_packet *pack, int *events, char *name, Hb_Group *group) {
    *events = HB_EVENT_DIFF_INSTANCE;
    copy_text(name, pack->subscription_name, HB_NAME_SIZE);
    std::memcpy(&group->Hb_membership_grp_union.diff_instance_info, pack->message,
                sizeof(struct diff_instance_info));
    group->Hb_events = HB_EVENT_DIFF_INSTANCE;
    group->Hb_group_type = Hb_Diff_Instance_Type;
    return Hb_Success;
}

Hb_Rc take_packet(Hb_Packet &packet, int *events, char *name, Hb_Group *group) {
    switch (packet.get()->kind) {
    case HB_ADAPTER_DEATH:
    case HB_ADAPTER_JOIN:
    case HB_ADAPTER_NEW_GROUP:
        return hb_get_adapter_event(events, name, group, packet.release());
    case HB_NODE_DEATH:
    case HB_NODE_JOIN:
    case HB_NODE_NEW_GROUP:
    case HB_NODE_HEARTBEAT:
        return hb_get_node_event(events, name, group, packet.release());
    case HB_FFDC_ID:
        return take_ffdc_id(packet.get(), events, name, group);
    case HB_DIFF_INSTANCE_NUM:
        return take_different_instance(packet.get(), events, name, group);
    default:
        return fail(10);
    }
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
        members.Hb_group_leader = no_adapter;
        members.Hb_group_incarnation = 0xFFFFFFFF;
        group->Hb_group_status = Hb_Group_Unstable;
        *events = pack->kind == HB_ADAPTER_DEATH ? HB_EVENT_DEATH : HB_EVENT_JOIN;
    }
    group->Hb_events = *events;
    copy_text(name, pack->subscription_name, HB_NAME_SIZE);
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
    copy_text(name, pack->subscription_name, HB_NAME_SIZE);
    hb_free_packet(pack);
    return Hb_Success;
}

Hb_Rc hb_get_event_message(int *descriptors, struct timeval *timeout, int *events, char *name, Hb_Group *group,
                           unsigned long *seqnum_p) {
    if (descriptors == nullptr) {
        return fail(4);
    }
    if (descriptors[0] == -1) {
        return Hb_Failure;
    }
    if (events == nullptr || name == nullptr || group == nullptr || seqnum_p == nullptr) {
        return fail(4);
    }
    if (IsMOX) {
        // No handler can own a descriptor while no cluster service is there to be watched.
        return fail(81);
    }
    if (client_socket == nullptr && hb_ensure_connection() != Hb_Success) {
        return Hb_Failure;
    }
    Hb_Packet packet;
    if (hb_wait_for_connection(timeout) != Hb_Success || hb_receive_packet(packet) != Hb_Success) {
        return Hb_Failure;
    }
    if (!packet.has_header()) {
        return fail(10);
    }
    std::memset(group->Hb_ffdc_id, 0, sizeof group->Hb_ffdc_id);
    *seqnum_p = packet.get()->notification_sequence_no;
    if (packet.get()->kind == HB_CONFIGURATION_UPDATE) {
        return take_configuration(packet, events, name);
    }
    if (!hb_event_is_sound(packet.bytes(), global_config_tbl.Hb_max_nodes)) {
        return fail(10);
    }
    return take_packet(packet, events, name, group);
}

Hb_Rc hb_get_client_hb_info(Hb_Client_Hb_Info *client_hb_info_p) {
    if (client_hb_info_p == nullptr) {
        return fail(4);
    }
    *client_hb_info_p = client_hb_info;
    return Hb_Success;
}
