// SPDX-License-Identifier: Apache-2.0
// Delivers the queued events to the caller, one for each wake-up.
#pragma once

#include "lib/mox/event_output.h"
#include "lib/mox/handlers/MOX_ORBFSPipeHandler.h"

class ORBFSEventPipeHandler : public ORBFSPipeHandler {
  public:
    ORBFSEventPipeHandler(int *fds, char *name);
    explicit ORBFSEventPipeHandler(char *name);
    ~ORBFSEventPipeHandler() override;

    // Errors: HB_ERROR_WAKE_UP_FAILED (59); HB_ERROR_BAD_WAKE_UP (72) the byte is no wake-up (the call
    // continues).
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;

  private:
    void read_wake_up();
    void deliver(MOX_Event &ev, const MOX_Event_Output &out);
    void copy_group(MOX_Event &ev, Hb_Group *group);
};
