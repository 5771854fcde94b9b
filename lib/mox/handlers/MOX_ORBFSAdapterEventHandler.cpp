// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSAdapterEventHandler.h"

#include <cstring>

#include "lib/hb_global_data/group_record.h"
#include "lib/mox/adapter_index.h"
#include "lib/mox/event_reading.h"

namespace {

constexpr MOX_Handler_Records RECORDS = {HB_TR_ADAPTER_HANDLER_ENTRY, HB_TR_ADAPTER_READ_FAILED,
                                         HB_TR_ADAPTER_HANDLER_EXIT, HB_TR_ADAPTER_NO_EVENT};

Hb_Adapter_Entry *find_adapter(uint32_t node, const char *interface) {
    Hb_Configuration_Internal &table = global_config_tbl;
    if (node >= HB_NODE_SLOTS) {
        return nullptr;
    }
    for (int i = 0; i < table.Hb_num_adapters && table.Hb_global_adapter_list != nullptr; ++i) {
        Hb_Adapter_Entry &adapter = table.Hb_global_adapter_list[i];
        if (MOX_node_of(table, adapter) == node &&
            std::strncmp(adapter.Hb_adapter_type, interface, HB_ADAPTER_TYPE_SIZE) == 0) {
            return &adapter;
        }
    }
    return nullptr;
}

// Returns the event, or 0 if the adapter already has that state.
int change_state(Hb_Adapter_Entry &adapter, bool up) {
    const Hb_Entity_State state = up ? Hb_Entity_Up : Hb_Entity_Down;
    if (adapter.Hb_state == state) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_ADAPTER_STATE_KNOWN, adapter.Hb_adapter_num, state);
        return HB_EVENT_NONE;
    }
    adapter.Hb_state = state;
    hb_trace_values(HB_TRACE_INFO, HB_TR_ADAPTER_STATE_CHANGED, adapter.Hb_adapter_num, state);
    return up ? HB_EVENT_JOIN : HB_EVENT_DEATH;
}

// All of the group's slots are already marked as no members when this adapter is added.
void set_members(Hb_Group *group, const Hb_Adapter_Entry *changed) {
    if (group == nullptr) {
        return;
    }
    auto &members = group->Hb_membership_grp_union.Hb_adapter_membership_grp;
    members.Hb_num_adapters = 0;
    if (changed != nullptr && changed->Hb_adapter_num < HB_ADAPTER_SLOTS) {
        members.Hb_adapter_list[changed->Hb_adapter_num] = 0;
        members.Hb_num_adapters = 1;
    }
}

} // namespace

ORBFSAdapterEventHandler::ORBFSAdapterEventHandler(char *name) : ORBFSConfigurationHandler(name) {}

ORBFSAdapterEventHandler::~ORBFSAdapterEventHandler() = default;

Hb_Rc ORBFSAdapterEventHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    MOX_trace_handler(RECORDS.entry, orbfs_fd);
    if (group != nullptr) {
        hb_clear_adapter_list(group, hb_adapter_number_bound(global_config_tbl));
    }
    const MOX_Event_Output out = {events, name, group, seqnum_p};
    return MOX_handle_event(orbfs_fd, QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS, RECORDS, out,
                            [&](const qz_orb_event_metadata_t &event) { return process(event, out); });
}

Hb_Rc ORBFSAdapterEventHandler::process(const qz_orb_event_metadata_t &event, const MOX_Event_Output &out) {
    const qz_orb_event_adapter_liveness_t &record = *event.event.p_adapter_liveness;
    if (record.event_type == QZ_ORB_EVENT_ADD || record.event_type == QZ_ORB_EVENT_DELETE) {
        qz_orb_event_metadata_t about = event;
        const Hb_Rc result = rebuild_table(out, &about);
        if (result != Hb_Success) {
            hb_trace_values(HB_TRACE_INFO, HB_TR_ADAPTER_UPDATE_FAILED, result);
        }
        return result;
    }
    *out.events = HB_EVENT_NONE;
    Hb_Adapter_Entry *adapter =
        find_adapter(record.node_number, record.p_interface_name != nullptr ? record.p_interface_name : "");
    if (adapter != nullptr) {
        *out.events = change_state(*adapter, record.event_type == QZ_ORB_EVENT_UP);
    }
    set_members(out.group, *out.events != HB_EVENT_NONE ? adapter : nullptr);
    fillInOneAdapterEvent(out.events, out.name, out.group, out.sequence_number);
    return Hb_Success;
}
