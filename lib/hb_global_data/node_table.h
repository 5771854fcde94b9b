// The nodes that own an adapter.
#ifndef HB_NODE_TABLE_H
#define HB_NODE_TABLE_H

// Derives global_node_tbl and global_num_nodes from the configuration table.
void hb_init_global_node_tbl();

#endif
