// The events that the library itself has made of messages. Its consumer may leave one undelivered; it is then kept and
// used again.
#ifndef HB_MESSAGE_EVENTS_H
#define HB_MESSAGE_EVENTS_H

#include "lib/hb_global_data/mox_event.h"

// The event is the library's own. False, with nothing remembered, when memory is short.
bool MOX_remember_message_event(const MOX_Event *ev);

// Keeps an event that was not delivered for the next message. One that the library has not made stays its maker's.
void MOX_keep_message_event(MOX_Event *ev);

// An event that was kept; null when there is none. It is to be filled anew.
MOX_Event *MOX_reuse_message_event();

// Deletes a delivered event, of whatever kind.
void MOX_delete_event(MOX_Event *ev);

// Deletes what was kept.
void MOX_drop_kept_message_events();

#endif
