// The adapters of one node that went or came.
#ifndef MOX_NODE_ADAPTERS_H
#define MOX_NODE_ADAPTERS_H

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/mox_event.h"

// Adapters for each node in a table built from the cluster service, and so the stride of its adapter numbers.
inline constexpr int MOX_ADAPTERS_PER_NODE = HB_NETWORK_SLOTS;

// Whether the table's adapter numbers have the service's stride. Those of a daemon may have another one.
bool MOX_has_service_numbers(const Hb_Configuration_Internal &table);

// Marks the node's up adapters down in the live table and adds them to an event. Returns how many.
int MOX_mark_adapters_of_node_down(int node, MOX_Event **ev);

// Adds the node's adapters that the service reports up, and that are not up in the live table, to an event, and
// counts them. They have the numbers of `table`, the one that will be live when the event is delivered; an
// interface that it does not know is left to its own event.
// Errors: HB_ERROR_INTERFACE_QUERY_FAILED (65).
Hb_Rc MOX_add_up_adapters_of_node(const Hb_Configuration_Internal &table, int node, MOX_Event **ev, int &count);

// Makes the node's adapters in the working table those that are reported: up where the event, which may be null,
// joins them or where they are up in the live table already.
void MOX_match_adapters_of_node(Hb_Configuration_Internal &table, int node, const MOX_Event *joined);

// The same for the live table itself, where no working table will replace it.
void MOX_mark_adapters_of_node_up(int node, const MOX_Event *joined);

// Adds the node's adapters that are up in the live table, and not up in `table`, to an event. Returns how many.
int MOX_add_stale_adapters_of_node(const Hb_Configuration_Internal &table, int node, MOX_Event **ev);

#endif
