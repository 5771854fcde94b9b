// SPDX-License-Identifier: Apache-2.0
// One event of cluster-event mode on its way to the caller.
#pragma once

#include <memory>

#include "hb_client.h"

// Always on the heap, because it holds a whole group record. Its producer makes it with new; the code that
// removes it from the queue deletes it.
struct MOX_Event {
    int sequence_num;
    Hb_Group group;
    MOX_Event *next;
    unsigned int type; // MOX_MESSAGE_RECEIVED or 0
    Hb_Node_Number node_num;
    Hb_Site_Number site_num;
};
using Hb_MOX_Event = MOX_Event;

// An event that is not queued yet.
using MOX_Owned_Event = std::unique_ptr<MOX_Event>;

// Lends an owned event to a function that makes or extends it through a pointer to a pointer.
class MOX_Event_Slot {
  public:
    explicit MOX_Event_Slot(MOX_Owned_Event &owner) : owner_(owner), event_(owner.release()) {}
    MOX_Event_Slot(const MOX_Event_Slot &) = delete;
    MOX_Event_Slot &operator=(const MOX_Event_Slot &) = delete;
    ~MOX_Event_Slot() { owner_.reset(event_); }
    operator MOX_Event **() { return &event_; }

  private:
    MOX_Owned_Event &owner_;
    MOX_Event *event_;
};

// The type of an event that reports a message from a node. The consumer looks up node_num.
inline constexpr unsigned int MOX_MESSAGE_RECEIVED = 1;
