// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/table_comparison.h"

#include <cstring>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/mox/adapter_index.h"
#include "lib/mox/event_construction.h"

namespace {

bool is_not_up_there(const Hb_Adapter_Entry *there) {
    return there == nullptr || there->Hb_state == Hb_Entity_Down || there->Hb_state == Hb_Entity_Undef;
}

bool every_adapter_is_unchanged(const Hb_Configuration_Internal &tbl1, const Hb_Configuration_Internal &tbl2) {
    const MOX_Adapter_Index index(tbl2, MOX_Identity::interface);
    return index.visit_pairs(tbl1, [](const Hb_Adapter_Entry &a, const Hb_Adapter_Entry *b) {
        return b != nullptr && b->Hb_network == a.Hb_network &&
               std::memcmp(&a.Hb_ip_address, &b->Hb_ip_address, sizeof a.Hb_ip_address) == 0;
    });
}

} // namespace

void MOX_missing_adapters(const Hb_Configuration_Internal &tbl1, const Hb_Configuration_Internal &tbl2,
                          int events, MOX_Event **ev) {
    if (ev == nullptr) {
        hb_trace_id(HB_TRACE_ERRORS, HB_TR_NO_ADAPTER_SLOT);
        return;
    }
    *ev = nullptr;
    int count = 0;
    const MOX_Adapter_Index index(tbl2, MOX_Identity::interface_and_address);
    index.visit_pairs(tbl1, [&](const Hb_Adapter_Entry &a, const Hb_Adapter_Entry *there) {
        if (a.Hb_state == Hb_Entity_Up && is_not_up_there(there)) {
            MOX_construct_an_adapter_event(ev, events, a.Hb_adapter_num);
            ++count;
        }
        return true;
    });
    if (*ev != nullptr) {
        (*ev)->group.Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_num_adapters = count;
    }
}

void MOX_missing_nodes(const Hb_Configuration_Internal &tbl1, const Hb_Configuration_Internal &tbl2, int events,
                       MOX_Event **ev) {
    for (int i = 0; i < tbl1.Hb_num_nodes && tbl1.node_list != nullptr; ++i) {
        const Hb_Node_Entry &node = tbl1.node_list[i];
        if (node.state == Hb_Entity_Up && hb_find_node(tbl2, node.node_num) == nullptr) {
            MOX_construct_empty_node_event(ev, events);
            MOX_add_node(*ev, node.node_num);
        }
    }
}

void MOX_nodes_down_in_the_other(const Hb_Configuration_Internal &tbl1, const Hb_Configuration_Internal &tbl2,
                                 int events, MOX_Event **ev) {
    for (int i = 0; i < tbl1.Hb_num_nodes && tbl1.node_list != nullptr; ++i) {
        const Hb_Node_Entry &node = tbl1.node_list[i];
        const Hb_Node_Entry *other = hb_find_node(tbl2, node.node_num);
        if (node.state == Hb_Entity_Up && other != nullptr && other->state == Hb_Entity_Down) {
            MOX_construct_empty_node_event(ev, events);
            MOX_add_node(*ev, node.node_num);
        }
    }
}

void MOX_config_change(Hb_Configuration_Internal &tbl1, Hb_Configuration_Internal &tbl2, MOX_Event **ev) {
    if (tbl1.local_node_number != tbl2.local_node_number) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_LOCAL_NODE_DIFFERS, int{tbl1.local_node_number},
                        int{tbl2.local_node_number});
    }
    if (MOX_find_tbl1_node_in_tbl2(&tbl1, &tbl2) != Hb_Success) {
        hb_trace_id(HB_TRACE_INFO, HB_TR_NODES_DIFFER);
    }
    if (tbl1.Hb_num_nodes != tbl2.Hb_num_nodes || tbl1.Hb_num_adapters != tbl2.Hb_num_adapters ||
        tbl1.Hb_num_networks != tbl2.Hb_num_networks) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_COUNTS_DIFFER, tbl1.Hb_num_nodes, tbl2.Hb_num_nodes,
                        tbl1.Hb_num_adapters, tbl2.Hb_num_adapters, tbl1.Hb_num_networks, tbl2.Hb_num_networks);
        MOX_construct_config_event(ev);
        return;
    }
    if (!every_adapter_is_unchanged(tbl1, tbl2)) {
        MOX_construct_config_event(ev);
    }
}

Hb_Rc MOX_find_tbl1_node_in_tbl2(Hb_Configuration_Internal *_tbl1, Hb_Configuration_Internal *_tbl2) {
    for (int i = 0; i < _tbl1->Hb_num_nodes && _tbl1->node_list != nullptr; ++i) {
        const Hb_Node_Number node = _tbl1->node_list[i].node_num;
        if (hb_find_node(*_tbl2, node) == nullptr) {
            set_hb_errno(HB_ERROR_NODES_DIFFER);
            hb_trace_values(HB_TRACE_ERRORS, HB_TR_NODE_UNKNOWN, int{node});
            return Hb_Failure;
        }
    }
    return Hb_Success;
}
