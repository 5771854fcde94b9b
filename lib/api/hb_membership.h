// Accessors over the membership group record; the public ones are declared in hb_client.h.
#ifndef HB_MEMBERSHIP_H
#define HB_MEMBERSHIP_H

#include "hb_client.h"

// 1: the first member is asked for; 0: the next.
Hb_Rc process_node_group(Hb_Group *group, Hb_Node_Number *node, int first);
Hb_Rc process_adapter_group(Hb_Group *group, Hb_Adapter_Identifier *adapter, int first);

#endif
