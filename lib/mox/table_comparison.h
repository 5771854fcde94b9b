// SPDX-License-Identifier: Apache-2.0
// Turns the difference of two configuration tables into events for subscribers.
#pragma once

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/mox_event.h"

// Makes an event with every adapter that is up in tbl1, and absent, down or undefined in tbl2. *ev is cleared
// first. A null `ev` is traced.
void MOX_missing_adapters(const Hb_Configuration_Internal &tbl1, const Hb_Configuration_Internal &tbl2,
                          int events, MOX_Event **ev);

// Adds every node that is up in tbl1 and absent from tbl2 to *ev. Makes the event first if *ev is null.
void MOX_missing_nodes(const Hb_Configuration_Internal &tbl1, const Hb_Configuration_Internal &tbl2, int events,
                       MOX_Event **ev);

// The same for every node that is up in tbl1 and down in tbl2. A node that is undefined in either table is left
// out.
void MOX_nodes_down_in_the_other(const Hb_Configuration_Internal &tbl1, const Hb_Configuration_Internal &tbl2,
                                 int events, MOX_Event **ev);

// Makes a configuration event if the tables differ in a count or in an adapter. An event that *ev already
// holds stays unchanged.
void MOX_config_change(Hb_Configuration_Internal &tbl1, Hb_Configuration_Internal &tbl2, MOX_Event **ev);

// Succeeds if tbl2 has every node of tbl1. Errors: HB_ERROR_NODES_DIFFER (73) a node is absent.
Hb_Rc MOX_find_tbl1_node_in_tbl2(Hb_Configuration_Internal *_tbl1, Hb_Configuration_Internal *_tbl2);
