// SPDX-License-Identifier: Apache-2.0
// Reports membership daemons of other nodes that go up or down. A report that a daemon is down overrides the
// service's "up" until a message arrives from its node.
#pragma once

#include "lib/mox/handlers/MOX_ORBFSHandler.h"

class ORBFSPeerGSLivenessHandler : public ORBFSHandler {
  public:
    explicit ORBFSPeerGSLivenessHandler(char *name);
    ~ORBFSPeerGSLivenessHandler() override;

    // A failed read fails the call without an error number.
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;
};
