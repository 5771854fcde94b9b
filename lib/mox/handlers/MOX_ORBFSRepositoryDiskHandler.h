// SPDX-License-Identifier: Apache-2.0
// Reports whether nodes can reach the cluster's repository disk.
#pragma once

#include "lib/mox/handlers/MOX_ORBFSHandler.h"

class ORBFSRepositoryDiskHandler : public ORBFSHandler {
  public:
    explicit ORBFSRepositoryDiskHandler(char *name);
    ~ORBFSRepositoryDiskHandler() override;

    // A failed read fails the call without an error number.
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;
};
