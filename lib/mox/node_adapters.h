// SPDX-License-Identifier: Apache-2.0
// The adapters of one node that went down or came up.
#pragma once

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/mox_event.h"

// Adapters per node in a table built from the cluster service: the stride of its adapter numbers.
inline constexpr int MOX_ADAPTERS_PER_NODE = HB_NETWORK_SLOTS;

// Returns whether the table's adapter numbers have the service's stride. A daemon's table may have another
// one.
bool MOX_has_service_numbers(const Hb_Configuration_Internal &table);

// Marks the node's adapters that are up as down in the live table, and adds them to an event. Returns their
// count.
int MOX_mark_adapters_of_node_down(int node, MOX_Event **ev);

// Adds the node's adapters that the service reports up, and that are not up in the live table, to an event, and
// counts them. Their numbers are those of `table`, which will be live when the event is delivered. An interface
// that is not in `table` has its own event later. Errors: HB_ERROR_INTERFACE_QUERY_FAILED (65) the service did
// not answer.
Hb_Rc MOX_add_up_adapters_of_node(const Hb_Configuration_Internal &table, int node, MOX_Event **ev, int &count);

// Makes the node's adapters in the working table match what is reported. An adapter is up if the event joins
// it or if it is up in the live table. The event may be null.
void MOX_match_adapters_of_node(Hb_Configuration_Internal &table, int node, const MOX_Event *joined);

// The same in the live table, for the case that no working table will replace it.
void MOX_mark_adapters_of_node_up(int node, const MOX_Event *joined);

// Adds the node's adapters that are up in the live table and not up in `table` to an event. Returns their
// count.
int MOX_add_stale_adapters_of_node(const Hb_Configuration_Internal &table, int node, MOX_Event **ev);
