// SPDX-License-Identifier: Apache-2.0
// Builds a configuration table from the cluster service.
#pragma once

#include "lib/hb_global_data/configuration_table.h"
#include "qz_mox.h"

// Fills cfg_table from the service; its list pointers must not own anything, because they are overwritten. For
// a node's liveness event all other nodes are copied from src_cfg_table. A null event rebuilds everything. A
// null source means that there is no earlier table. Nothing is written before the queries for cluster, nodes
// and interfaces have succeeded. global_node_tbl and global_num_nodes are updated too. Errors:
// HB_ERROR_NO_MEMORY (17) out of memory; HB_ERROR_CLUSTER_QUERY_FAILED (63) cluster, HB_ERROR_NODE_QUERY_FAILED
// (64) node, HB_ERROR_INTERFACE_QUERY_FAILED (65) interface query failed. It also sets a number but succeeds
// when a state is neither up nor down: HB_ERROR_NODE_STATE_UNKNOWN (70) of a node,
// HB_ERROR_ADAPTER_STATE_UNKNOWN (71) of an interface.
Hb_Rc hb_mox_update_global_tbl(Hb_Configuration_Internal *cfg_table, qz_orb_event_metadata_t *event_metadata_p,
                               Hb_Configuration_Internal *src_cfg_table);

// Builds the working table (global_config_tbl_new) from the service and the live table (global_config_tbl). On
// failure the working table is unchanged, and MOX_is_comparison_due() becomes true. Errors: as above.
Hb_Rc hb_mox_update_working_table(qz_orb_event_metadata_t *event_metadata_p);

// Moves the content of `prepared`, built by the last preparation, into the working table; `prepared` is then
// empty. Nodes that membership daemons reported dead stay dead. Returns false, with nothing changed, if the
// table has no nodes.
bool MOX_use_prepared_table(Hb_Configuration_Internal &prepared);

// Empties a working table that does not differ from the table before it. Queries for nodes then answer from
// that earlier table.
void MOX_discard_working_table();
