#include "lib/MOX_ORBFSConfigurationHandler.h"

#include <cstring>

#include "lib/MOX_HBC_trace.h"
#include "lib/MOX_event_construction.h"
#include "lib/MOX_event_pipe.h"
#include "lib/MOX_output.h"
#include "lib/MOX_table_update.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_dump.h"
#include "lib/hb_global_data/table_swap.h"

namespace {

void queue(MOX_Event *ev, Hb_Trace_Id id) {
    if (ev != nullptr) {
        hb_trace_values(HB_TRACE_INFO, id, ev->group.Hb_events);
        MOX_add_event_at_end(ev);
    }
}

} // namespace

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

Hb_Rc ORBFSConfigurationHandler::update_global_table_and_construct_events(int *events, char *name,
                                                                          Hb_Group *group,
                                                                          unsigned long *seqnum_p,
                                                                          qz_orb_event_metadata_t *event) {
    hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_ENTRY, orbfs_fd);
    MOX_tell_nothing(events, name, seqnum_p);
    hb_mox_dump_global_table(&global_config_tbl, "Update global table: old table");
    hb_mox_update_working_table(event);
    hb_mox_dump_global_table(&global_config_tbl_new, "Update global table: new table");

    MOX_Event *adapters_gone = nullptr;
    MOX_Event *nodes_gone = nullptr;
    MOX_Event *config_changed = nullptr;
    MOX_Event *adapters_new = nullptr;
    MOX_Event *nodes_new = nullptr;
    compare_global_config_tables(&global_config_tbl_new, &adapters_gone, &nodes_gone, &config_changed,
                                 &adapters_new, &nodes_new);
    const bool departed = adapters_gone != nullptr || nodes_gone != nullptr;

    if (migrate_to_mox_prep) {
        queue(adapters_gone, HB_TR_DEPARTED_ADAPTERS_QUEUED);
    } else if (adapters_gone != nullptr) {
        deliver_departed_adapters(adapters_gone, events, name, group);
    }
    queue(nodes_gone, HB_TR_DEPARTED_NODES_QUEUED);
    if (migrate_to_mox_prep) {
        queue(config_changed, HB_TR_CONFIG_CHANGE_QUEUED);
    } else if (!departed) {
        *events = HB_EVENT_CONFIG;
        std::strcpy(name, "Hb_Config_Group");
    } else {
        queue(MOX_make_config_marker(), HB_TR_CONFIG_MARKER_QUEUED);
    }
    queue(nodes_new, HB_TR_JOINED_NODES_QUEUED);
    queue(adapters_new, HB_TR_JOINED_ADAPTERS_QUEUED);

    // A move that finds the same configuration queues no marker to wait for.
    if (migrate_to_mox_prep ? config_changed == nullptr : !departed) {
        hb_take_working_table();
        hb_trace_id(HB_TRACE_INFO, HB_TR_WORKING_TABLE_TAKEN);
        hb_mox_dump_global_table(&global_config_tbl, "Update global table: current table after copy");
    }
    const Hb_Rc result = MOX_write_to_event_pipe();
    hb_trace_values(HB_TRACE_INFO, HB_TR_UPDATE_EXIT, orbfs_fd);
    return result;
}
