// SPDX-License-Identifier: Apache-2.0
// The nodes that own an adapter.
#pragma once

// Derives global_node_tbl and global_num_nodes from the configuration table.
void hb_init_global_node_tbl();
