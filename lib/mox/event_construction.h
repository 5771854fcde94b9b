// SPDX-License-Identifier: Apache-2.0
// Makes the events of cluster-event mode. Nothing is queued here: each event is stored where the caller asks.
#pragma once

#include "lib/hb_global_data/mox_event.h"

// Each function makes an event only if `ev` is not null and *ev is null. When memory is short *ev stays null.

// Returns how many events could not be made so far because memory was short.
int MOX_failed_events();

// Makes an event of value 128 with a sequence number. It makes the consumer install the working table.
void MOX_construct_config_event(MOX_Event **ev);

// Returns a marker for the queue: after it the working table becomes the live one. Null when memory is short.
MOX_Owned_Event MOX_make_config_marker();

// Makes a node group without members.
void MOX_construct_empty_node_event(MOX_Event **ev, int events);
void MOX_add_node(MOX_Event *ev, int node);

// Makes a node group with one member. Its count is 1 even for a number that no node has.
void MOX_construct_node_event(int node, MOX_Event **ev, int events);

// Overwrites an existing event in the same way.
void MOX_fill_node_event(MOX_Event &ev, int node, int events);

// Adds one adapter to *ev, and makes *ev first if it is null. The caller sets the event's adapter count.
void MOX_construct_an_adapter_event(MOX_Event **ev, int events, Hb_Adapter_Number adapter_num);
