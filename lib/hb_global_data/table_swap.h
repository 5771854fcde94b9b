// SPDX-License-Identifier: Apache-2.0
// Empties configuration tables, and makes the working table the live one.
#pragma once

#include "lib/hb_global_data/configuration_table.h"

// Frees everything that the table owns and zeroes its numbers. The network list and all site data stay. A
// null table is ignored.
void empty_global_config_table(Hb_Configuration_Internal *t);

// Empties the live table with its networks, and the node table within the live table's bounds.
void hb_empty_live_table();

// Replaces global_config_tbl by a deep copy of global_config_tbl_new, and empties the latter. Sites are not
// copied. When memory is short both stay unchanged. Errors: HB_ERROR_NO_MEMORY (17).
void MOX_copy_and_delete_global_config_tbl();

// Empties `to` and moves the table that an update built in `from` into it. Sites stay.
void hb_move_config_table(Hb_Configuration_Internal &from, Hb_Configuration_Internal &to);

// Makes empty lists and hash tables for this many adapters and 2049 nodes. Returns false when memory is
// short; the caller then empties the table.
bool hb_make_table_lists(Hb_Configuration_Internal &table, int adapters);

// Each inserts the filled entry i of its list into the hash tables. Returns false when memory is short.
bool hb_index_node(Hb_Configuration_Internal &table, int i);
bool hb_index_adapter(Hb_Configuration_Internal &table, int i);

// Makes the table's nodes the ones that queries return: global_node_tbl and global_num_nodes.
void hb_mark_present_nodes(const Hb_Configuration_Internal &table);

// Returns the node's entry, or null if the table has none.
Hb_Node_Entry *hb_find_node(const Hb_Configuration_Internal &table, int node);
