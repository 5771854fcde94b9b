// Emptying configuration tables, and making the working table the live one.
#ifndef HB_TABLE_SWAP_H
#define HB_TABLE_SWAP_H

#include "lib/hb_global_data/configuration_table.h"

// Frees what the table owns and zeroes its numbers; the network list and all about sites stay. A null table
// is let pass.
void empty_global_config_table(Hb_Configuration_Internal *t);

// Empties the live table with its networks, and the node table as far as the live one reached.
void hb_empty_live_table();

// Rebuilds global_config_tbl as a deep copy of global_config_tbl_new, which it then empties. Sites are not
// carried over. When memory is short both stay as they are. Errors: HB_ERROR_NO_MEMORY (17).
void MOX_copy_and_delete_global_config_tbl();

// Empties `to` and moves into it what a table update has built in `from`; sites stay.
void hb_move_config_table(Hb_Configuration_Internal &from, Hb_Configuration_Internal &to);

// Owning arrays and hash tables for an adapter count and 2049 nodes, empty. False when memory is short; what
// was made then stays in the table for emptying.
bool hb_make_table_lists(Hb_Configuration_Internal &table, int adapters);

// Take entry i of the lists, which has been filled, into the hash tables. False when memory is short.
bool hb_index_node(Hb_Configuration_Internal &table, int i);
bool hb_index_adapter(Hb_Configuration_Internal &table, int i);

// Makes the nodes in the table's list the ones that queries know: global_node_tbl and global_num_nodes.
void hb_mark_present_nodes(const Hb_Configuration_Internal &table);

// The node's entry; null when the table has none.
Hb_Node_Entry *hb_find_node(const Hb_Configuration_Internal &table, int node);

#endif
