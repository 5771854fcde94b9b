// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSConfigurationHandler.h"

#include <utility>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/known_nodes.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_dump.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/event_construction.h"
#include "lib/mox/handlers/event_pipe.h"
#include "lib/mox/table_comparison.h"
#include "lib/mox/table_update.h"

namespace {

void queue(MOX_Owned_Event ev, Hb_Trace_Id id) {
    if (ev != nullptr) {
        hb_trace_values(HB_TRACE_INFO, id, ev->group.Hb_events);
        MOX_add_event_at_end(ev.release());
    }
}

} // namespace

// The differences between the live table and the working table, as events. The marker separates the adapter
// numbers of the two tables, if a marker is needed.
struct ORBFSConfigurationHandler::Differences {
    MOX_Owned_Event adapters_gone;
    MOX_Owned_Event nodes_gone;
    MOX_Owned_Event marker;
    MOX_Owned_Event nodes_new;
    MOX_Owned_Event adapters_new;
    bool is_whole = true; // false: memory was too short for one of them

    bool departed() const { return adapters_gone != nullptr || nodes_gone != nullptr; }
    bool joined() const { return adapters_new != nullptr || nodes_new != nullptr; }
};

ORBFSConfigurationHandler::ORBFSConfigurationHandler(char *name) : ORBFSHandler(name) {}

ORBFSConfigurationHandler::~ORBFSConfigurationHandler() = default;

Hb_Rc ORBFSConfigurationHandler::handler(int *, char *, Hb_Group *, unsigned long *) {
    return Hb_Success;
}

void ORBFSConfigurationHandler::deliver_departed_adapters(MOX_Event &departed, const MOX_Event_Output &out) {
    hb_trace_values(HB_TRACE_ERRORS, HB_TR_DEPARTED_ADAPTERS_DELIVERED, departed.group.Hb_events);
    if (!out.report(departed.group.Hb_events, networkEventSubscriptionName)) {
        hb_trace_id(HB_TRACE_INFO, HB_TR_DEPARTED_ADAPTERS_UNSUBSCRIBED);
    }
    copy_adapter_Hb_Group(&departed.group, out.group);
}

// All events are made before any is queued and before the table is installed. What cannot be reported now is
// reported by the next full comparison.
ORBFSConfigurationHandler::Differences ORBFSConfigurationHandler::compare(Nodes nodes, Marker marker) {
    const int failed_before = MOX_failed_events();
    Differences found;
    if (MOX_working_table() == MOX_Working_Table::built) {
        compare_global_config_tables(&global_config_tbl_new, MOX_Event_Slot(found.adapters_gone),
                                     MOX_Event_Slot(found.nodes_gone), MOX_Event_Slot(found.marker),
                                     MOX_Event_Slot(found.adapters_new), MOX_Event_Slot(found.nodes_new));
        if (nodes == Nodes::with_states) {
            MOX_nodes_down_in_the_other(global_config_tbl, global_config_tbl_new, HB_EVENT_DEATH,
                                        MOX_Event_Slot(found.nodes_gone));
            MOX_nodes_down_in_the_other(global_config_tbl_new, global_config_tbl, HB_EVENT_JOIN,
                                        MOX_Event_Slot(found.nodes_new));
        }
    }
    const bool wants_marker = marker == Marker::always || found.departed() ||
                              (marker == Marker::with_any_difference && found.joined());
    if (wants_marker && found.marker == nullptr) {
        found.marker = MOX_make_config_marker();
    }
    found.is_whole = MOX_failed_events() == failed_before;
    return found;
}

Hb_Rc ORBFSConfigurationHandler::report_later() {
    MOX_discard_working_table();
    MOX_set_comparison_due(true);
    return hb_fail(HB_ERROR_NO_MEMORY);
}

// The table becomes live with its marker, or at once if there is no marker.
void ORBFSConfigurationHandler::queue_all(Differences &&found) {
    queue(std::move(found.adapters_gone), HB_TR_DEPARTED_ADAPTERS_QUEUED);
    queue(std::move(found.nodes_gone), HB_TR_DEPARTED_NODES_QUEUED);
    if (found.marker != nullptr) {
        MOX_await_marker(found.marker.get());
        queue(std::move(found.marker),
              migrate_to_mox_prep ? HB_TR_CONFIG_CHANGE_QUEUED : HB_TR_CONFIG_MARKER_QUEUED);
    }
    queue(std::move(found.nodes_new), HB_TR_JOINED_NODES_QUEUED);
    queue(std::move(found.adapters_new), HB_TR_JOINED_ADAPTERS_QUEUED);
}

Hb_Rc ORBFSConfigurationHandler::update_global_table_and_construct_events(int *events, char *name,
                                                                          Hb_Group *group,
                                                                          unsigned long *seqnum_p,
                                                                          qz_orb_event_metadata_t *event) {
    return rebuild_table({events, name, group, seqnum_p}, event);
}

Hb_Rc ORBFSConfigurationHandler::rebuild_table(const MOX_Event_Output &out, qz_orb_event_metadata_t *event) {
    hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_ENTRY, orbfs_fd);
    out.report_no_event();
    hb_mox_dump_global_table(&global_config_tbl, "Update global table: old table");
    if (hb_mox_update_working_table(event) != Hb_Success) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_EXIT, orbfs_fd);
        return Hb_Failure;
    }
    hb_mox_dump_global_table(&global_config_tbl_new, "Update global table: new table");
    // Node records may have been read while the service did not answer, so a due comparison includes the
    // nodes' states.
    Differences found = compare(MOX_is_comparison_due() ? Nodes::with_states : Nodes::by_presence,
                                migrate_to_mox_prep ? Marker::with_any_difference : Marker::with_departures);
    if (!found.is_whole) {
        return report_later();
    }
    MOX_set_comparison_due(false);
    // During a migration everything is queued. Otherwise the departed adapters are delivered at once.
    if (!migrate_to_mox_prep) {
        if (found.adapters_gone != nullptr) {
            deliver_departed_adapters(*found.adapters_gone, out);
            found.adapters_gone.reset();
        }
        if (found.marker == nullptr) {
            out.report_configuration_change();
        }
    }
    queue_all(std::move(found));
    if (MOX_working_table() == MOX_Working_Table::built) {
        MOX_install_working_table();
        hb_trace_id(HB_TRACE_INFO, HB_TR_WORKING_TABLE_TAKEN);
        hb_mox_dump_global_table(&global_config_tbl, "Update global table: current table after copy");
    }
    const Hb_Rc result = MOX_write_to_event_pipe();
    hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_EXIT, orbfs_fd);
    return result;
}

Hb_Rc ORBFSConfigurationHandler::queue_all_differences(Hb_Configuration_Internal &prepared,
                                                       bool (*skip_unread_events)()) {
    hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_ENTRY, orbfs_fd);
    const MOX_Newest_Table_As_Live newest;
    const MOX_Known_Nodes until_the_marker;
    hb_mox_dump_global_table(&global_config_tbl, "Update global table: old table");
    bool is_current = hb_mox_update_working_table(nullptr) == Hb_Success;
    const bool is_answered = is_current;
    if (is_answered && skip_unread_events()) {
        is_current = hb_mox_update_working_table(nullptr) == Hb_Success;
    }
    const int query_error = hb_get_errno();
    if (is_answered || MOX_use_prepared_table(prepared)) {
        hb_mox_dump_global_table(&global_config_tbl_new, "Update global table: new table");
    }
    Differences found = compare(Nodes::with_states, Marker::always);
    if (!found.is_whole) {
        return report_later();
    }
    if (!is_current) {
        set_hb_errno(query_error);
    }
    MOX_set_comparison_due(!is_current); // something may have happened since the table was read
    queue_all(std::move(found));
    const Hb_Rc result = MOX_write_to_event_pipe();
    hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_EXIT, orbfs_fd);
    return result;
}
