// SPDX-License-Identifier: Apache-2.0
// Answers a new subscription with the current group.
#pragma once

#include "lib/mox/event_output.h"
#include "lib/mox/handlers/MOX_ORBFSPipeHandler.h"

class ORBFSNewGroupEventHandler : public ORBFSPipeHandler {
  public:
    ORBFSNewGroupEventHandler(int *fds, char *name);
    explicit ORBFSNewGroupEventHandler(char *name);
    ~ORBFSNewGroupEventHandler() override;

    // Errors: HB_ERROR_NEW_GROUP_READ_FAILED (58), HB_ERROR_NODE_QUERY_FAILED (64),
    // HB_ERROR_INTERFACE_QUERY_FAILED (65), HB_ERROR_BAD_NEW_GROUP_REQUEST (68).
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;

  private:
    Hb_Rc build_node_group(const MOX_Event_Output &out);
    Hb_Rc build_adapter_group(const MOX_Event_Output &out);
};

// The requests, one byte each.
inline constexpr char MOX_NEW_NODE_GROUP = 1;
inline constexpr char MOX_NEW_ADAPTER_GROUP = 2;
