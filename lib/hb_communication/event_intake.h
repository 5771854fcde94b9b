// From an event packet to the caller's group record; hb_get_event_message and hb_get_client_hb_info of
// hb_client.h.
#ifndef HB_EVENT_INTAKE_H
#define HB_EVENT_INTAKE_H

#include "lib/hb_wire.h"

extern Hb_Client_Hb_Info client_hb_info;

// Both take a packet that hb_event_is_sound has accepted, free it and succeed.
Hb_Rc hb_get_adapter_event(int *events, char *name, Hb_Group *group, client_packet *pack);
Hb_Rc hb_get_node_event(int *events, char *name, Hb_Group *group, client_packet *pack);

#endif
