#include "lib/MOX_ORBFSNodeLivenessHandler.h"

#include "lib/MOX_event_construction.h"
#include "lib/MOX_event_pipe.h"
#include "lib/MOX_event_reading.h"
#include "lib/MOX_node_adapters.h"
#include "lib/MOX_output.h"
#include "lib/MOX_table_update.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_swap.h"

namespace {

constexpr MOX_Handler_Records records = {HB_TR_NODE_HANDLER_ENTRY, HB_TR_NODE_READ_FAILED,
                                         HB_TR_NODE_HANDLER_EXIT, HB_TR_NODE_NO_EVENT};

unsigned long sequence_of(const qz_orb_event_node_liveness_t &record) {
    return static_cast<uint32_t>(record.sequence_number);
}

// The working table as the service has it now, where it answers.
void rebuild_working_table(const qz_orb_event_node_liveness_t &record) {
    qz_orb_event_node_liveness_t about = record;
    qz_orb_event_metadata_t event = {};
    event.category = QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS;
    event.event.p_node_liveness = &about;
    hb_mox_update_working_table(&event);
}

bool is_down_because(const Hb_Node_Entry *node, Hb_Entity_State_Reason reason) {
    return node != nullptr && node->state == Hb_Entity_Down && node->reason == reason;
}

void queue(MOX_Event *ev) {
    if (ev != nullptr) {
        MOX_add_event_at_end(ev);
    }
}

} // namespace

ORBFSNodeLivenessHandler::ORBFSNodeLivenessHandler(char *name) : ORBFSHandler(name) {}

ORBFSNodeLivenessHandler::~ORBFSNodeLivenessHandler() = default;

Hb_Rc ORBFSNodeLivenessHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    MOX_trace_handler(records.entry, orbfs_fd);
    return MOX_handle_event(orbfs_fd, QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS, records, events,
                            [&](const qz_orb_event_metadata_t &event) {
                                return process(*event.event.p_node_liveness, {events, name, group, seqnum_p});
                            });
}

void ORBFSNodeLivenessHandler::tell_nothing_new(int node, unsigned long seqnum, const Output &out) {
    fillInNodeEventInfo(node, 0, out.name, out.group);
    MOX_tell_nothing(out.events, out.name, out.seqnum_p);
    *out.seqnum_p = seqnum;
}

// The event is told also where there is no subscription to name it after.
void ORBFSNodeLivenessHandler::tell_node(int node, int event, unsigned long seqnum, const Output &out) {
    fillInNodeEventInfo(node, event, out.name, out.group);
    *out.events = event;
    *out.seqnum_p = seqnum;
}

Hb_Rc ORBFSNodeLivenessHandler::process(const qz_orb_event_node_liveness_t &record, const Output &out) {
    if (record.node_number >= HB_NODE_SLOTS) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_OUT_OF_RANGE, record.node_number);
        MOX_tell_nothing(out.events, out.name, out.seqnum_p);
        return Hb_Success;
    }
    const auto node = static_cast<int>(record.node_number);
    if (node == global_config_tbl.local_node_number) {
        tell_nothing_new(node, sequence_of(record), out);
        return Hb_Success;
    }
    rebuild_working_table(record);
    const bool news = record.event_type == QZ_ORB_EVENT_DOWN ? went_down(record, out) : came_up(record, out);
    if (!news) {
        MOX_discard_working_table();
    }
    return news ? MOX_write_to_event_pipe() : Hb_Success;
}

bool ORBFSNodeLivenessHandler::went_down(const qz_orb_event_node_liveness_t &record, const Output &out) {
    const auto node = static_cast<int>(record.node_number);
    Hb_Node_Entry *before = hb_find_node(global_config_tbl, node);
    const Hb_Node_Entry *now = hb_find_node(global_config_tbl_new, node);
    if (now != nullptr && now->state == Hb_Entity_Up) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_DOWN_CONTRADICTED, node);
        MOX_tell_nothing(out.events, out.name, out.seqnum_p);
        return false;
    }
    if (is_down_because(before, Hb_Entity_State_Reason_Down)) {
        tell_nothing_new(node, sequence_of(record), out);
        return false;
    }
    const bool reported = is_down_because(before, Hb_Entity_State_Reason_KOBAL_Down);
    MOX_Event *adapters = nullptr;
    constructAdapterEventOnNode(node, &adapters, HB_EVENT_DEATH);
    const bool adapters_died = adapters != nullptr;
    if (adapters_died) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_ADAPTERS_DIED, node);
        if (!MOX_tell(HB_EVENT_DEATH, networkEventSubscriptionName, out.events, out.name)) {
            hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_ADAPTERS_UNSUBSCRIBED, node);
        }
        *out.seqnum_p = 0;
        copy_adapter_Hb_Group(&adapters->group, out.group);
        delete adapters;
        if (!reported) {
            MOX_Event *death = nullptr;
            constructNodeEvent(node, &death, HB_EVENT_DEATH);
            if (death == nullptr) {
                hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_EVENT_NOT_MADE, node);
            }
            queue(death);
        }
    } else if (!reported) {
        tell_node(node, HB_EVENT_DEATH, sequence_of(record), out);
    }
    if (before != nullptr) {
        before->state = Hb_Entity_Down;
    } else {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_DOWN_UNKNOWN, node);
    }
    if (!adapters_died && reported) {
        hb_take_working_table();
        *out.events = HB_EVENT_CONFIG;
        std::strcpy(out.name, "Hb_Config_Group");
        *out.seqnum_p = 0;
    } else {
        queue(MOX_make_config_marker());
    }
    return true;
}

bool ORBFSNodeLivenessHandler::came_up(const qz_orb_event_node_liveness_t &record, const Output &out) {
    const auto node = static_cast<int>(record.node_number);
    Hb_Node_Entry *before = hb_find_node(global_config_tbl, node);
    const Hb_Node_Entry *now = hb_find_node(global_config_tbl_new, node);
    if (now != nullptr && now->state == Hb_Entity_Down) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_UP_CONTRADICTED, node);
        MOX_tell_nothing(out.events, out.name, out.seqnum_p);
        return false;
    }
    if (before != nullptr && before->state == Hb_Entity_Up) {
        tell_nothing_new(node, sequence_of(record), out);
        return false;
    }
    tell_node(node, HB_EVENT_JOIN, sequence_of(record), out);
    queue(MOX_make_config_marker());
    MOX_Event *adapters = nullptr;
    if (constructAdapterEventOnNode(node, &adapters, HB_EVENT_JOIN) == Hb_Success) {
        // The service was asked twice and may have changed between: the table is to hold what is told.
        MOX_match_adapters_of_node(global_config_tbl_new, node, adapters);
    }
    queue(adapters);
    if (before != nullptr) {
        before->state = Hb_Entity_Up;
    }
    return true;
}
