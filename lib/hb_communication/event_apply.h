// From an event packet that is known to be whole to the caller's group record and the tables. Nothing here can
// fail.
#ifndef HB_EVENT_APPLY_H
#define HB_EVENT_APPLY_H

#include "lib/wire/hb_wire.h"

extern Hb_Client_Hb_Info client_hb_info;

// Both free the packet and succeed.
Hb_Rc hb_get_adapter_event(int *events, char *name, Hb_Group *group, client_packet *pack);
Hb_Rc hb_get_node_event(int *events, char *name, Hb_Group *group, client_packet *pack);

// The packet stays the caller's.
void hb_apply_ffdc_id(const client_packet *pack, int *events, char *name, Hb_Group *group);
void hb_apply_different_instance(const client_packet *pack, int *events, char *name, Hb_Group *group);

#endif
