// SPDX-License-Identifier: Apache-2.0
// Applies an event of the daemon to the caller's group record and to the tables.
#pragma once

#include "lib/wire/event_view.h"

extern Hb_Client_Hb_Info client_hb_info;

// Returns the event's value, which the group's Hb_events holds too. `name` receives the subscription's name.
int hb_apply_event(const Hb_Event_View &event, char *name, Hb_Group &group);

// The same for a packet that hb_view_event has accepted. Both free the packet and succeed.
Hb_Rc hb_get_adapter_event(int *events, char *name, Hb_Group *group, client_packet *pack);
Hb_Rc hb_get_node_event(int *events, char *name, Hb_Group *group, client_packet *pack);
