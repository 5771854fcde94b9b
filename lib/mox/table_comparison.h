// What the difference of two configuration tables means to a subscriber.
#ifndef MOX_TABLE_COMPARISON_H
#define MOX_TABLE_COMPARISON_H

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/mox_event.h"

// An event, in a slot emptied first, with every adapter of tbl1 that is up there and in tbl2 absent, down or
// undefined. A null slot is traced.
void MOX_missing_adapters(const Hb_Configuration_Internal &tbl1, const Hb_Configuration_Internal &tbl2,
                          int events, MOX_Event **ev);

// An event, in an empty slot, with every node of tbl1 that is up there and absent from tbl2.
void MOX_missing_nodes(const Hb_Configuration_Internal &tbl1, const Hb_Configuration_Internal &tbl2, int events,
                       MOX_Event **ev);

// Adds every node that both tables know, up in tbl1 and down in tbl2, to the event, which is made where there is none.
// A node that is undefined in either counts as neither.
void MOX_nodes_down_in_the_other(const Hb_Configuration_Internal &tbl1, const Hb_Configuration_Internal &tbl2,
                                 int events, MOX_Event **ev);

// A configuration event, in an empty slot, when counts or an adapter differ.
void MOX_config_change(Hb_Configuration_Internal &tbl1, Hb_Configuration_Internal &tbl2, MOX_Event **ev);

// Whether tbl2 knows every node of tbl1. Errors: HB_ERROR_NODES_DIFFER (73).
Hb_Rc MOX_find_tbl1_node_in_tbl2(Hb_Configuration_Internal *_tbl1, Hb_Configuration_Internal *_tbl2);

#endif
