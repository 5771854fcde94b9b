// Making the events of cluster-event mode. None is queued here: each goes into the caller's slot.
#ifndef MOX_EVENT_CONSTRUCTION_H
#define MOX_EVENT_CONSTRUCTION_H

#include "lib/hb_global_data/mox_event.h"

// Each makes an event only where `ev` is not null and *ev is; memory being short it stays so.

// How many events could not be made so far, since memory was short.
int MOX_failed_events();

// Events 128, which makes the consumer take the working table over, with a sequence number.
void MOX_construct_config_event(MOX_Event **ev);

// The same for the queue: a marker behind which the working table becomes the live one. Null when memory is
// short.
MOX_Owned_Event MOX_make_config_marker();

// A node group without a node.
void MOX_construct_empty_node_event(MOX_Event **ev, int events);
void MOX_add_node(MOX_Event *ev, int node);

// A node group of the one node. Its count is 1 also for a number that no node has.
void MOX_construct_node_event(int node, MOX_Event **ev, int events);

// The same in an event that is there already; it is overwritten.
void MOX_fill_node_event(MOX_Event &ev, int node, int events);

// Adds one adapter to *ev, which is made first where there is none. The event's adapter count is the
// caller's to set.
void MOX_construct_an_adapter_event(MOX_Event **ev, int events, Hb_Adapter_Number adapter_num);

#endif
