// Which queued events the library has made itself, of a kind that its consumer may leave undelivered.
#ifndef HB_MADE_EVENTS_H
#define HB_MADE_EVENTS_H

#include "lib/hb_global_data/mox_event.h"

// Memory being short the event counts as somebody else's.
void MOX_remember_made_event(const MOX_Event *ev);

// Whether the event was remembered; it no longer is.
bool MOX_forget_made_event(const MOX_Event *ev);

#endif
