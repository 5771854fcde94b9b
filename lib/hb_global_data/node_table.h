// SPDX-License-Identifier: Apache-2.0
// What queries need to know of a table as a whole: the nodes that own an adapter, and whether the adapters'
// numbers are consecutive.
#pragma once

// Derives global_node_tbl, global_num_nodes and is_consecutive from the live configuration table.
void hb_init_global_node_tbl();
