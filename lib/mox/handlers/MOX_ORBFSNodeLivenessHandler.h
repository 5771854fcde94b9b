// SPDX-License-Identifier: Apache-2.0
// Reports nodes that go up or down, together with their adapters.
#pragma once

#include "lib/mox/event_output.h"
#include "lib/mox/handlers/MOX_ORBFSHandler.h"
#include "qz_mox.h"

class ORBFSNodeLivenessHandler : public ORBFSHandler {
  public:
    explicit ORBFSNodeLivenessHandler(char *name);
    ~ORBFSNodeLivenessHandler() override;

    // Errors: HB_ERROR_WAKE_UP_FAILED (59).
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;

  private:
    Hb_Rc process(const qz_orb_event_node_liveness_t &record, const MOX_Event_Output &out);
    Hb_Rc run_due_comparison(const MOX_Event_Output &out);
    // Both return whether the event pipe must be signalled. `has_table`: the working table holds the
    // service's current state.
    bool went_down(const qz_orb_event_node_liveness_t &record, bool has_table, const MOX_Event_Output &out);
    bool came_up(const qz_orb_event_node_liveness_t &record, bool has_table, const MOX_Event_Output &out);
    bool queue_adapters_of_returned_node(int node);
    void report_no_news(int node, unsigned long seqnum, const MOX_Event_Output &out);
    void report_node(int node, int event, unsigned long seqnum, const MOX_Event_Output &out);
};
