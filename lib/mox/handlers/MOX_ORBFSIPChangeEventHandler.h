// SPDX-License-Identifier: Apache-2.0
// Reports addresses that are added to interfaces or removed from them.
#pragma once

#include "lib/mox/handlers/MOX_ORBFSConfigurationHandler.h"

class ORBFSIPChangeEventHandler : public ORBFSConfigurationHandler {
  public:
    explicit ORBFSIPChangeEventHandler(char *name);
    ~ORBFSIPChangeEventHandler() override;

    // Errors: those of update_global_table_and_construct_events.
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;

  private:
    Hb_Rc process(const qz_orb_event_metadata_t &event, const MOX_Event_Output &out);
};
