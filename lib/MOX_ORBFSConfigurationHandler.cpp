#include "lib/MOX_ORBFSConfigurationHandler.h"

#include <cstring>

#include "lib/MOX_HBC_trace.h"
#include "lib/MOX_event_construction.h"
#include "lib/MOX_event_pipe.h"
#include "lib/MOX_output.h"
#include "lib/MOX_table_comparison.h"
#include "lib/MOX_table_update.h"
#include "lib/hb_global_data/error_number.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_dump.h"
#include "lib/hb_global_data/working_table.h"

namespace {

void queue(MOX_Event *ev, Hb_Trace_Id id) {
    if (ev != nullptr) {
        hb_trace_values(HB_TRACE_INFO, id, ev->group.Hb_events);
        MOX_add_event_at_end(ev);
    }
}

// Behind the marker the working table is the live one. Without memory for a marker it is so at once.
void queue_marker(MOX_Event *marker, Hb_Trace_Id id) {
    if (marker != nullptr) {
        MOX_await_marker(marker);
        queue(marker, id);
    } else {
        MOX_take_working_table();
    }
}

} // namespace

// What the working table has that the live one has not, and the other way round.
struct ORBFSConfigurationHandler::Differences {
    MOX_Event *adapters_gone = nullptr;
    MOX_Event *nodes_gone = nullptr;
    MOX_Event *config_changed = nullptr;
    MOX_Event *adapters_new = nullptr;
    MOX_Event *nodes_new = nullptr;

    bool departed() const { return adapters_gone != nullptr || nodes_gone != nullptr; }
    bool joined() const { return adapters_new != nullptr || nodes_new != nullptr; }
};

ORBFSConfigurationHandler::ORBFSConfigurationHandler(char *name) : ORBFSHandler(name) {}

ORBFSConfigurationHandler::~ORBFSConfigurationHandler() = default;

Hb_Rc ORBFSConfigurationHandler::handler(int *, char *, Hb_Group *, unsigned long *) {
    return Hb_Success;
}

void ORBFSConfigurationHandler::deliver_departed_adapters(MOX_Event *departed, int *events, char *name,
                                                          Hb_Group *group) {
    hb_trace_values(HB_TRACE_ERRORS, HB_TR_DEPARTED_ADAPTERS_DELIVERED, departed->group.Hb_events);
    if (!MOX_tell(departed->group.Hb_events, networkEventSubscriptionName, events, name)) {
        hb_trace_id(HB_TRACE_INFO, HB_TR_DEPARTED_ADAPTERS_UNSUBSCRIBED);
    }
    copy_adapter_Hb_Group(&departed->group, group);
    delete departed;
}

ORBFSConfigurationHandler::Differences ORBFSConfigurationHandler::compare(Nodes nodes) {
    Differences found;
    compare_global_config_tables(&global_config_tbl_new, &found.adapters_gone, &found.nodes_gone,
                                 &found.config_changed, &found.adapters_new, &found.nodes_new);
    if (nodes == Nodes::with_states) {
        MOX_nodes_down_in_the_other(global_config_tbl, global_config_tbl_new, HB_EVENT_DEATH,
                                    &found.nodes_gone);
        MOX_nodes_down_in_the_other(global_config_tbl_new, global_config_tbl, HB_EVENT_JOIN, &found.nodes_new);
    }
    MOX_owe_comparison(false);
    return found;
}

// Everything is queued. The marker stands between the numbers of the two tables; where nothing differs, an update needs
// none, and the working table is the live one at once.
void ORBFSConfigurationHandler::queue_move(const Differences &found, Marker marker) {
    queue(found.adapters_gone, HB_TR_DEPARTED_ADAPTERS_QUEUED);
    queue(found.nodes_gone, HB_TR_DEPARTED_NODES_QUEUED);
    if (found.config_changed != nullptr) {
        queue_marker(found.config_changed, HB_TR_CONFIG_CHANGE_QUEUED);
    } else if (marker == Marker::always || found.departed() || found.joined()) {
        queue_marker(MOX_make_config_marker(), HB_TR_CONFIG_MARKER_QUEUED);
    }
    queue(found.nodes_new, HB_TR_JOINED_NODES_QUEUED);
    queue(found.adapters_new, HB_TR_JOINED_ADAPTERS_QUEUED);
}

// What departed first is delivered, the rest is queued.
void ORBFSConfigurationHandler::report(const Differences &found, int *events, char *name, Hb_Group *group) {
    if (found.adapters_gone != nullptr) {
        deliver_departed_adapters(found.adapters_gone, events, name, group);
    }
    queue(found.nodes_gone, HB_TR_DEPARTED_NODES_QUEUED);
    if (found.departed()) {
        queue_marker(MOX_make_config_marker(), HB_TR_CONFIG_MARKER_QUEUED);
    } else {
        *events = HB_EVENT_CONFIG;
        std::strcpy(name, "Hb_Config_Group");
    }
    queue(found.nodes_new, HB_TR_JOINED_NODES_QUEUED);
    queue(found.adapters_new, HB_TR_JOINED_ADAPTERS_QUEUED);
}

Hb_Rc ORBFSConfigurationHandler::update_global_table_and_construct_events(int *events, char *name,
                                                                          Hb_Group *group,
                                                                          unsigned long *seqnum_p,
                                                                          qz_orb_event_metadata_t *event) {
    hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_ENTRY, orbfs_fd);
    MOX_tell_nothing(events, name, seqnum_p);
    hb_mox_dump_global_table(&global_config_tbl, "Update global table: old table");
    if (hb_mox_update_working_table(event) != Hb_Success) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_EXIT, orbfs_fd);
        return Hb_Failure;
    }
    hb_mox_dump_global_table(&global_config_tbl_new, "Update global table: new table");
    // Records of nodes may have been read while the service did not answer.
    const Differences found = compare(MOX_comparison_is_owed() ? Nodes::with_states : Nodes::by_presence);
    if (migrate_to_mox_prep) {
        queue_move(found, Marker::where_needed);
    } else {
        report(found, events, name, group);
    }
    if (MOX_working_table() == MOX_Working_Table::built) {
        MOX_take_working_table();
        hb_trace_id(HB_TRACE_INFO, HB_TR_WORKING_TABLE_TAKEN);
        hb_mox_dump_global_table(&global_config_tbl, "Update global table: current table after copy");
    }
    const Hb_Rc result = MOX_write_to_event_pipe();
    hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_EXIT, orbfs_fd);
    return result;
}

Hb_Rc ORBFSConfigurationHandler::queue_all_differences(Hb_Configuration_Internal *prepared) {
    hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_ENTRY, orbfs_fd);
    const MOX_Newest_Table_As_Live newest;
    hb_mox_dump_global_table(&global_config_tbl, "Update global table: old table");
    const bool is_answered = hb_mox_update_working_table(nullptr) == Hb_Success;
    const int query_error = hb_get_errno();
    Differences found;
    if (is_answered || MOX_use_prepared_table(prepared)) {
        hb_mox_dump_global_table(&global_config_tbl_new, "Update global table: new table");
        found = compare(Nodes::with_states);
    }
    if (!is_answered) {
        set_hb_errno(query_error);
        MOX_owe_comparison(true); // the prepared table is older than what happened since
    }
    queue_move(found, Marker::always);
    const Hb_Rc result = MOX_write_to_event_pipe();
    hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_EXIT, orbfs_fd);
    return result;
}
