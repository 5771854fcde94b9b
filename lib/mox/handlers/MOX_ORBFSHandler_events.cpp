// SPDX-License-Identifier: Apache-2.0
// The events that a handler makes from the difference of two tables, and for one node or adapter.
#include "lib/base/MOX_HBC_trace.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/event_construction.h"
#include "lib/mox/handlers/MOX_ORBFSHandler.h"
#include "lib/mox/node_adapters.h"
#include "lib/mox/table_comparison.h"

void ORBFSHandler::compare_global_config_tables(Hb_Configuration_Internal *new_tbl, MOX_Event **adapters_gone,
                                                MOX_Event **nodes_gone, MOX_Event **config_changed,
                                                MOX_Event **adapters_new, MOX_Event **nodes_new) {
    hb_trace_id(HB_TRACE_ERRORS, HB_TR_COMPARE_ADAPTERS_GONE);
    generate_event_for_missing_tbl2_adapters(&global_config_tbl, new_tbl, HB_EVENT_DEATH, adapters_gone);
    hb_trace_id(HB_TRACE_ERRORS, HB_TR_COMPARE_NODES_GONE);
    generate_event_for_missing_tbl2_node(&global_config_tbl, new_tbl, HB_EVENT_DEATH, nodes_gone);
    if (migrate_to_mox_prep) {
        generate_event_for_config_change(&global_config_tbl, new_tbl, config_changed);
        generate_event_for_config_change(new_tbl, &global_config_tbl, config_changed);
    }
    hb_trace_id(HB_TRACE_ERRORS, HB_TR_COMPARE_ADAPTERS_NEW);
    generate_event_for_missing_tbl2_adapters(new_tbl, &global_config_tbl, HB_EVENT_JOIN, adapters_new);
    hb_trace_id(HB_TRACE_ERRORS, HB_TR_COMPARE_NODES_NEW);
    generate_event_for_missing_tbl2_node(new_tbl, &global_config_tbl, HB_EVENT_JOIN, nodes_new);
}

void ORBFSHandler::generate_event_for_missing_tbl2_adapters(Hb_Configuration_Internal *tbl1,
                                                            Hb_Configuration_Internal *tbl2, int events,
                                                            MOX_Event **ev) {
    MOX_missing_adapters(*tbl1, *tbl2, events, ev);
}

void ORBFSHandler::generate_event_for_missing_tbl2_node(Hb_Configuration_Internal *tbl1,
                                                        Hb_Configuration_Internal *tbl2, int events,
                                                        MOX_Event **ev) {
    MOX_missing_nodes(*tbl1, *tbl2, events, ev);
}

void ORBFSHandler::generate_event_for_config_change(Hb_Configuration_Internal *tbl1,
                                                    Hb_Configuration_Internal *tbl2, MOX_Event **ev) {
    MOX_config_change(*tbl1, *tbl2, ev);
}

void ORBFSHandler::constructConfigEvent(MOX_Event **ev) {
    MOX_construct_config_event(ev);
}

void ORBFSHandler::constructNodeEvent(int node, MOX_Event **ev, int events) {
    MOX_construct_node_event(node, ev, events);
}

void ORBFSHandler::construct_an_adapter_event(MOX_Event **ev, int events, unsigned int adapter_num) {
    MOX_construct_an_adapter_event(ev, events, adapter_num);
}

Hb_Rc ORBFSHandler::constructAdapterEventOnNode(int node, MOX_Event **ev, int events) {
    if (ev != nullptr) {
        *ev = nullptr;
    }
    Hb_Rc result = Hb_Success;
    int count = 0;
    if (events == HB_EVENT_DEATH) {
        count = MOX_mark_adapters_of_node_down(node, ev);
    } else if (events == HB_EVENT_JOIN) {
        const bool has_working_table = MOX_working_table() != MOX_Working_Table::none;
        result = MOX_add_up_adapters_of_node(has_working_table ? global_config_tbl_new : global_config_tbl,
                                             node, ev, count);
    }
    if (ev != nullptr && *ev != nullptr) {
        (*ev)->group.Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_num_adapters = count;
        hb_trace_values(HB_TRACE_INFO, HB_TR_ADAPTERS_OF_NODE, events, count);
    }
    return result;
}
