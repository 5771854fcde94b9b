// SPDX-License-Identifier: Apache-2.0
// Events that the library makes when a node's message arrives. An event that need not be delivered is kept
// and reused.
#pragma once

#include "lib/hb_global_data/mox_event.h"

// Records that the library made the event. Returns false, with nothing recorded, when memory is short.
bool MOX_remember_message_event(const MOX_Event *ev);

// Keeps an undelivered event for the next message. An event that the library did not make is left to its
// maker.
void MOX_keep_message_event(MOX_Event *ev);

// Returns a kept event, which the caller must fill again. Null: there is none.
MOX_Event *MOX_reuse_message_event();

// Deletes a delivered event of any kind.
void MOX_delete_event(MOX_Event *ev);

// Deletes the kept events.
void MOX_drop_kept_message_events();
