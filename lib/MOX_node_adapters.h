// The adapters of one node that went or came.
#ifndef MOX_NODE_ADAPTERS_H
#define MOX_NODE_ADAPTERS_H

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/mox_event.h"

// Adapters for each node in a table built from the cluster service, and so the stride of its adapter numbers.
inline constexpr int MOX_ADAPTERS_PER_NODE = HB_NETWORK_SLOTS;

// Marks the node's up adapters down in the live table and adds them to an event. Returns how many.
int MOX_take_down_adapters_of_node(int node, MOX_Event **ev);

// Adds the node's interfaces that the service reports up to an event, and counts them. Errors: 65 the service
// did not answer.
Hb_Rc MOX_add_up_adapters_of_node(int node, MOX_Event **ev, int &count);

// The node's adapters in the table are up exactly where the event, which may be null, tells so.
void MOX_match_adapters_of_node(Hb_Configuration_Internal &table, int node, const MOX_Event *joined);

#endif
