// SPDX-License-Identifier: Apache-2.0
// Reports changes of the list of nodes.
#pragma once

#include "lib/mox/handlers/MOX_ORBFSConfigurationHandler.h"

class ORBFSNodeListHandler : public ORBFSConfigurationHandler {
  public:
    explicit ORBFSNodeListHandler(char *name);
    ~ORBFSNodeListHandler() override;

    // Errors: those of update_global_table_and_construct_events.
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;
};
