// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/event_construction.h"

#include <new>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/group_record.h"

namespace {

// The group's lists are large, so they stay uninitialised here. Each maker fills the list that it uses.
void fill_header(MOX_Event &ev, Hb_Group_Type type, int events) {
    ev.sequence_num = 0;
    ev.next = nullptr;
    ev.type = 0;
    ev.node_num = 0;
    ev.site_num = 0;
    ev.group.Hb_group_type = type;
    ev.group.Hb_cursor = 0;
    ev.group.Hb_events = events;
    ev.group.Hb_group_status = Hb_Group_Stable;
    ev.group.Hb_ffdc_id[0] = '\0';
}

void fill_empty_node_group(MOX_Event &ev, int events) {
    fill_header(ev, Hb_Node_Group, events);
    reset_node_membership_group_node_list(&ev.group);
    ev.group.Hb_membership_grp_union.Hb_node_membership_grp.Hb_num_nodes = 0;
}

int failed_events = 0;

MOX_Event *new_event(Hb_Group_Type type, int events) {
    auto *ev = new (std::nothrow) MOX_Event;
    if (ev != nullptr) {
        fill_header(*ev, type, events);
    } else {
        ++failed_events;
    }
    return ev;
}

} // namespace

int MOX_failed_events() {
    return failed_events;
}

MOX_Owned_Event MOX_make_config_marker() {
    return MOX_Owned_Event(new_event(Hb_Repository_Disk_Type, HB_EVENT_CONFIG));
}

void MOX_construct_config_event(MOX_Event **ev) {
    if (ev == nullptr || *ev != nullptr) {
        return;
    }
    *ev = MOX_make_config_marker().release();
    if (*ev != nullptr) {
        (*ev)->sequence_num = hb_mox_next_event_sequence();
    }
}

void MOX_construct_empty_node_event(MOX_Event **ev, int events) {
    if (ev == nullptr || *ev != nullptr) {
        return;
    }
    *ev = new_event(Hb_Node_Group, events);
    if (*ev != nullptr) {
        fill_empty_node_group(**ev, events);
    }
}

void MOX_add_node(MOX_Event *ev, int node) {
    if (ev != nullptr && node >= 0 && node < HB_NODE_SLOTS) {
        auto &nodes = ev->group.Hb_membership_grp_union.Hb_node_membership_grp;
        nodes.Hb_node_list[node] = Hb_True;
        ++nodes.Hb_num_nodes;
    }
}

void MOX_fill_node_event(MOX_Event &ev, int node, int events) {
    fill_empty_node_group(ev, events);
    MOX_add_node(&ev, node);
    // The event is about one node, even if its number is invalid.
    ev.group.Hb_membership_grp_union.Hb_node_membership_grp.Hb_num_nodes = 1;
}

void MOX_construct_node_event(int node, MOX_Event **ev, int events) {
    if (ev == nullptr || *ev != nullptr) {
        return;
    }
    *ev = new_event(Hb_Node_Group, events);
    if (*ev != nullptr) {
        MOX_fill_node_event(**ev, node, events);
    }
}

void MOX_construct_an_adapter_event(MOX_Event **ev, int events, Hb_Adapter_Number adapter_num) {
    if (ev == nullptr) {
        return;
    }
    if (*ev == nullptr) {
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_MAKE_ADAPTER_EVENT, events, adapter_num);
        *ev = new_event(Hb_Adapter_Group, events);
        if (*ev == nullptr) {
            return;
        }
        auto &made = (*ev)->group.Hb_membership_grp_union.Hb_adapter_membership_grp;
        made.Hb_num_adapters = 0;
        made.Hb_group_leader = HB_NOT_IN_GROUP;
        made.Hb_group_incarnation = HB_NOT_IN_GROUP;
        hb_clear_adapter_list(&(*ev)->group, HB_ADAPTER_SLOTS);
    }
    (*ev)->group.Hb_events = events;
    if (adapter_num < HB_ADAPTER_SLOTS) {
        (*ev)->group.Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list[adapter_num] = 0;
    }
    hb_trace_values(HB_TRACE_INFO, HB_TR_ADD_ADAPTER, events, adapter_num);
}
