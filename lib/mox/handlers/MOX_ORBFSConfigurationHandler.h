// SPDX-License-Identifier: Apache-2.0
// The base of the handlers whose events change the configuration.
#pragma once

#include "lib/mox/event_output.h"
#include "lib/mox/handlers/MOX_ORBFSHandler.h"
#include "qz_mox.h"

class ORBFSConfigurationHandler : public ORBFSHandler {
  public:
    explicit ORBFSConfigurationHandler(char *name);
    ~ORBFSConfigurationHandler() override;

    // Does nothing and succeeds. Derived classes override it.
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;

    // Rebuilds the working table from the service and turns its differences from the live table into events.
    // Departed adapters are reported to the caller at once, everything else is queued. If the service does not
    // answer, or if memory is short for an event, nothing is compared, reported or changed. The next successful
    // call then reports the difference, nodes included. Errors: HB_ERROR_WAKE_UP_FAILED (59), and those of
    // hb_mox_update_global_tbl.
    Hb_Rc update_global_table_and_construct_events(int *events, char *name, Hb_Group *group,
                                                   unsigned long *seqnum_p, qz_orb_event_metadata_t *event);
    // The same with the four outputs as one.
    Hb_Rc rebuild_table(const MOX_Event_Output &out, qz_orb_event_metadata_t *event);

    // The same for a commit. Everything is queued, with exactly one marker, and nodes of both tables are
    // compared by their states too. The queue's newest pending table counts as the live one. After the service
    // has answered, skip_unread_events discards the monitors' unread events and returns whether there was any.
    // If so, the service is queried again. If the service does not answer, the prepared table is used and
    // emptied. If that table is empty too, nothing is compared. Errors: HB_ERROR_WAKE_UP_FAILED (59),
    // HB_ERROR_NODES_DIFFER (73), and those of hb_mox_update_global_tbl; with HB_ERROR_NO_MEMORY (17) nothing
    // is queued.
    Hb_Rc queue_all_differences(Hb_Configuration_Internal &prepared, bool (*skip_unread_events)());

  private:
    struct Differences;
    enum class Nodes { by_presence, with_states };
    enum class Marker { with_departures, with_any_difference, always };
    Differences compare(Nodes nodes, Marker marker);
    static Hb_Rc report_later();
    static void queue_all(Differences &&found);
    void deliver_departed_adapters(MOX_Event &departed, const MOX_Event_Output &out);
};
