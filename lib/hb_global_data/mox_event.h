// One event of cluster-event mode on its way to the caller.
#ifndef HB_MOX_EVENT_H
#define HB_MOX_EVENT_H

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

// The kind of an event that says a node has spoken; the consumer then looks node_num up.
inline constexpr unsigned int MOX_MESSAGE_RECEIVED = 1;

#endif
