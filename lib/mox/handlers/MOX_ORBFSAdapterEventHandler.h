// SPDX-License-Identifier: Apache-2.0
// Reports adapters that go up or down, and adapters that are added or removed.
#pragma once

#include "lib/mox/handlers/MOX_ORBFSConfigurationHandler.h"

class ORBFSAdapterEventHandler : public ORBFSConfigurationHandler {
  public:
    explicit ORBFSAdapterEventHandler(char *name);
    ~ORBFSAdapterEventHandler() override;

    // Errors: those of update_global_table_and_construct_events.
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;

  private:
    Hb_Rc process(const qz_orb_event_metadata_t &event, const MOX_Event_Output &out);
};
