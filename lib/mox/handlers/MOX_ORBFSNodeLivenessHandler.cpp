// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSNodeLivenessHandler.h"

#include <utility>

#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/event_construction.h"
#include "lib/mox/event_reading.h"
#include "lib/mox/handlers/MOX_ORBFSConfigurationHandler.h"
#include "lib/mox/handlers/event_pipe.h"
#include "lib/mox/handlers/process_handlers.h"
#include "lib/mox/node_adapters.h"
#include "lib/mox/table_update.h"

namespace {

constexpr MOX_Handler_Records RECORDS = {HB_TR_NODE_HANDLER_ENTRY, HB_TR_NODE_READ_FAILED,
                                         HB_TR_NODE_HANDLER_EXIT, HB_TR_NODE_NO_EVENT};

unsigned long sequence_of(const qz_orb_event_node_liveness_t &record) {
    return static_cast<uint32_t>(record.sequence_number);
}

// After a failed query the live table may lack the node, or may still hold a daemon's adapter numbers.
// Rebuilding this one node is then not enough.
bool needs_full_query(int node) {
    return !MOX_has_service_numbers(global_config_tbl) ||
           (MOX_is_comparison_due() && hb_find_node(global_config_tbl, node) == nullptr);
}

// Rebuilds the working table: this node from the service, all others from the live table. Returns whether
// that succeeded.
bool rebuild_working_table(const qz_orb_event_node_liveness_t &record) {
    qz_orb_event_node_liveness_t about = record;
    qz_orb_event_metadata_t event = {};
    event.category = QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS;
    event.event.p_node_liveness = &about;
    return hb_mox_update_working_table(&event) == Hb_Success;
}

// Writes the reported state into the live table at once, because no working table will replace it. An unknown
// node is added, so that a second record of the same kind is no news.
void remember_node(int node, Hb_Entity_State state, Hb_Entity_State_Reason reason) {
    Hb_Configuration_Internal &table = global_config_tbl;
    Hb_Node_Entry *entry = hb_find_node(table, node);
    if (entry == nullptr && table.node_list != nullptr && table.node_hash != nullptr &&
        table.Hb_num_nodes < HB_NODE_SLOTS) {
        entry = &table.node_list[table.Hb_num_nodes];
        entry->node_num = static_cast<Hb_Node_Number>(node);
        if (!hb_index_node(table, table.Hb_num_nodes)) {
            return;
        }
        ++table.Hb_num_nodes;
        global_num_nodes += global_node_tbl[node] == Hb_False ? 1 : 0;
        global_node_tbl[node] = Hb_True;
    }
    if (entry != nullptr) {
        entry->state = state;
        entry->reason = reason;
    }
}

// The live table stays in use. The next full comparison reports what this event did not.
void continue_without_table(int node, Hb_Entity_State state, Hb_Entity_State_Reason reason) {
    remember_node(node, state, reason);
    MOX_set_comparison_due(true);
}

// A daemon may not have reported the node's state. The record implies the state before it.
void assume_state_before(const qz_orb_event_node_liveness_t &record) {
    Hb_Node_Entry *entry = hb_find_node(global_config_tbl, static_cast<int>(record.node_number));
    if (entry != nullptr && entry->state == Hb_Entity_Undef) {
        entry->state = record.event_type == QZ_ORB_EVENT_DOWN ? Hb_Entity_Up : Hb_Entity_Down;
    }
}

bool is_down_because(const Hb_Node_Entry *node, Hb_Entity_State_Reason reason) {
    return node != nullptr && node->state == Hb_Entity_Down && node->reason == reason;
}

void queue(MOX_Owned_Event ev) {
    if (ev != nullptr) {
        MOX_add_event_at_end(ev.release());
    }
}

void queue_marker(MOX_Owned_Event marker) {
    MOX_await_marker(marker.get());
    MOX_add_event_at_end(marker.release());
}

} // namespace

ORBFSNodeLivenessHandler::ORBFSNodeLivenessHandler(char *name) : ORBFSHandler(name) {}

ORBFSNodeLivenessHandler::~ORBFSNodeLivenessHandler() = default;

Hb_Rc ORBFSNodeLivenessHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    MOX_trace_handler(RECORDS.entry, orbfs_fd);
    const MOX_Event_Output out = {events, name, group, seqnum_p};
    return MOX_handle_event(
        orbfs_fd, QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS, RECORDS, out,
        [&](const qz_orb_event_metadata_t &event) { return process(*event.event.p_node_liveness, out); });
}

void ORBFSNodeLivenessHandler::report_no_news(int node, unsigned long seqnum, const MOX_Event_Output &out) {
    fillInNodeEventInfo(node, 0, out.name, out.group);
    out.report_no_event();
    *out.sequence_number = seqnum;
}

// The event is reported even without a subscription to name it.
void ORBFSNodeLivenessHandler::report_node(int node, int event, unsigned long seqnum,
                                           const MOX_Event_Output &out) {
    fillInNodeEventInfo(node, event, out.name, out.group);
    *out.events = event;
    *out.sequence_number = seqnum;
}

// A full query of the service reports what was missed, including this record's event.
Hb_Rc ORBFSNodeLivenessHandler::run_due_comparison(const MOX_Event_Output &out) {
    auto *configuration = dynamic_cast<ORBFSConfigurationHandler *>(adapter_event_handler_p);
    return configuration != nullptr ? configuration->rebuild_table(out, nullptr) : Hb_Failure;
}

Hb_Rc ORBFSNodeLivenessHandler::process(const qz_orb_event_node_liveness_t &record,
                                        const MOX_Event_Output &out) {
    if (record.node_number >= HB_NODE_SLOTS) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_OUT_OF_RANGE, record.node_number);
        out.report_no_event();
        return Hb_Success;
    }
    const auto node = static_cast<int>(record.node_number);
    if (node == global_config_tbl.local_node_number) {
        report_no_news(node, sequence_of(record), out);
        return Hb_Success;
    }
    const bool is_full_query = needs_full_query(node);
    if (is_full_query) {
        assume_state_before(record);
        MOX_set_comparison_due(true);
        const Hb_Rc result = run_due_comparison(out);
        if (!MOX_is_comparison_due()) {
            return result;
        }
    }
    // When the service does not answer, the record is the only evidence.
    const bool has_table = !is_full_query && rebuild_working_table(record);
    const bool news = record.event_type == QZ_ORB_EVENT_DOWN ? went_down(record, has_table, out)
                                                             : came_up(record, has_table, out);
    MOX_discard_working_table(); // unless it is pending
    return news ? MOX_write_to_event_pipe() : Hb_Success;
}

bool ORBFSNodeLivenessHandler::went_down(const qz_orb_event_node_liveness_t &record, bool has_table,
                                         const MOX_Event_Output &out) {
    const auto node = static_cast<int>(record.node_number);
    Hb_Node_Entry *before = hb_find_node(global_config_tbl, node);
    const Hb_Node_Entry *now = has_table ? hb_find_node(global_config_tbl_new, node) : nullptr;
    if (now != nullptr && now->state == Hb_Entity_Up) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_DOWN_CONTRADICTED, node);
        out.report_no_event();
        return false;
    }
    if (is_down_because(before, Hb_Entity_State_Reason_Down)) {
        report_no_news(node, sequence_of(record), out);
        return false;
    }
    const bool was_reported = is_down_because(before, Hb_Entity_State_Reason_KOBAL_Down);
    MOX_Owned_Event adapters;
    constructAdapterEventOnNode(node, MOX_Event_Slot(adapters), HB_EVENT_DEATH);
    const bool adapters_died = adapters != nullptr;
    if (adapters_died) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_ADAPTERS_DIED, node);
        if (!out.report(HB_EVENT_DEATH, networkEventSubscriptionName)) {
            hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_ADAPTERS_UNSUBSCRIBED, node);
        }
        *out.sequence_number = 0;
        copy_adapter_Hb_Group(&adapters->group, out.group);
        adapters.reset();
        if (!was_reported) {
            MOX_Owned_Event death;
            constructNodeEvent(node, MOX_Event_Slot(death), HB_EVENT_DEATH);
            if (death == nullptr) {
                hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_EVENT_NOT_MADE, node);
            }
            queue(std::move(death));
        }
    } else if (!was_reported) {
        report_node(node, HB_EVENT_DEATH, sequence_of(record), out);
    }
    if (before != nullptr) {
        before->state = Hb_Entity_Down;
    } else {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_DOWN_UNKNOWN, node);
    }
    const bool has_event = adapters_died || !was_reported;
    MOX_Owned_Event marker = has_table && has_event ? MOX_make_config_marker() : nullptr;
    if (has_table && (marker != nullptr || !has_event)) {
        // The service may still have adapters up because their own events are unread.
        MOX_match_adapters_of_node(global_config_tbl_new, node, nullptr);
    }
    if (marker != nullptr) {
        queue_marker(std::move(marker));
    } else if (has_table && !has_event) {
        MOX_install_working_table();
        out.report_configuration_change();
        *out.sequence_number = 0;
    } else {
        if (!has_event) {
            out.report_no_event();
        }
        continue_without_table(node, Hb_Entity_Down, Hb_Entity_State_Reason_Down);
    }
    return true;
}

bool ORBFSNodeLivenessHandler::came_up(const qz_orb_event_node_liveness_t &record, bool has_table,
                                       const MOX_Event_Output &out) {
    const auto node = static_cast<int>(record.node_number);
    Hb_Node_Entry *before = hb_find_node(global_config_tbl, node);
    const Hb_Node_Entry *now = has_table ? hb_find_node(global_config_tbl_new, node) : before;
    // Without a table, only the membership daemon's report can contradict the record.
    const bool is_down_now = has_table ? now != nullptr && now->state == Hb_Entity_Down
                                       : is_down_because(now, Hb_Entity_State_Reason_KOBAL_Down);
    if (is_down_now) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_UP_CONTRADICTED, node);
        out.report_no_event();
        return false;
    }
    if (before != nullptr && before->state == Hb_Entity_Up) {
        report_no_news(node, sequence_of(record), out);
        return false;
    }
    report_node(node, HB_EVENT_JOIN, sequence_of(record), out);
    if (!has_table) {
        MOX_Owned_Event joined;
        constructAdapterEventOnNode(node, MOX_Event_Slot(joined), HB_EVENT_JOIN);
        MOX_mark_adapters_of_node_up(node, joined.get());
        queue(std::move(joined));
    } else if (queue_adapters_of_returned_node(node)) {
        if (before != nullptr) {
            before->state = Hb_Entity_Up;
        }
        return true;
    }
    continue_without_table(node, Hb_Entity_Up, Hb_Entity_State_Reason_Up);
    return true;
}

// The service was queried twice. It may have changed in between or not have answered, so the table is made to
// match what is reported. Adapters that it holds down can then be reported later. Returns false, with nothing
// queued, when memory is short.
bool ORBFSNodeLivenessHandler::queue_adapters_of_returned_node(int node) {
    MOX_Owned_Event joined;
    constructAdapterEventOnNode(node, MOX_Event_Slot(joined), HB_EVENT_JOIN);
    MOX_match_adapters_of_node(global_config_tbl_new, node, joined.get());
    MOX_Owned_Event stale;
    const int count = MOX_add_stale_adapters_of_node(global_config_tbl_new, node, MOX_Event_Slot(stale));
    MOX_Owned_Event marker = MOX_make_config_marker();
    if (marker == nullptr || (count > 0 && stale == nullptr)) {
        return false;
    }
    if (stale != nullptr) {
        stale->group.Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_num_adapters = count;
    }
    queue(std::move(stale));
    queue_marker(std::move(marker));
    queue(std::move(joined));
    return true;
}
