// One event of cluster-event mode on its way to the caller.
#ifndef HB_MOX_EVENT_H
#define HB_MOX_EVENT_H

#include <memory>

#include "hb_client.h"

// Large, since it holds the whole group record: always on the heap, made with new by its producer and
// deleted by whoever takes it from the queue.
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

// The kind of an event that says a node has spoken; the consumer then looks node_num up.
inline constexpr unsigned int MOX_MESSAGE_RECEIVED = 1;

#endif
