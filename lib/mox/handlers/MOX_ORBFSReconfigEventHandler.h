// SPDX-License-Identifier: Apache-2.0
// Rebuilds the whole table after a reconfiguration of the cluster.
#pragma once

#include "lib/mox/handlers/MOX_ORBFSConfigurationHandler.h"

class ORBFSReconfigEventHandler : public ORBFSConfigurationHandler {
  public:
    explicit ORBFSReconfigEventHandler(char *name);
    ~ORBFSReconfigEventHandler() override;

    // Errors: those of update_global_table_and_construct_events.
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;
};
