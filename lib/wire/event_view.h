// An event record, checked against what its kind needs.
#ifndef HB_EVENT_VIEW_H
#define HB_EVENT_VIEW_H

#include <span>

#include "lib/wire/hb_wire.h"

// Whether the record is an event of a kind the intake knows, and whole: what its reader will read is
// there. A configuration update is looked at by hb_view_snapshot alone.
bool hb_membership_event_is_sound(std::span<const char> record, int max_nodes);

#endif
