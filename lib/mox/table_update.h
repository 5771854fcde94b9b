// Builds a configuration table from the cluster service.
#pragma once

#include "lib/hb_global_data/configuration_table.h"
#include "qz_mox.h"

// Fills cfg_table, whose lists must be free, from the service. For a node's liveness event all other nodes are
// copied from src_cfg_table. A null event rebuilds everything; a null source means that nothing is known yet.
// Nothing is written before all three queries have succeeded. global_node_tbl and global_num_nodes are updated
// too. Errors: HB_ERROR_NO_MEMORY (17) out of memory; HB_ERROR_CLUSTER_QUERY_FAILED (63) cluster,
// HB_ERROR_NODE_QUERY_FAILED (64) node, HB_ERROR_INTERFACE_QUERY_FAILED (65) interface query failed; on success
// HB_ERROR_NODE_STATE_UNKNOWN (70), HB_ERROR_ADAPTER_STATE_UNKNOWN (71) a node or interface is neither up nor
// down.
Hb_Rc hb_mox_update_global_tbl(Hb_Configuration_Internal *cfg_table, qz_orb_event_metadata_t *event_metadata_p,
                               Hb_Configuration_Internal *src_cfg_table);

// Builds the working table from the service and the live table. On failure the working table is unchanged,
// and a full comparison is due. Errors: as above.
Hb_Rc hb_mox_update_working_table(qz_orb_event_metadata_t *event_metadata_p);

// Makes a table that was built earlier the working one and empties it. Nodes that membership daemons reported
// dead stay dead. Returns false, with nothing changed, if the table has no nodes.
bool MOX_use_prepared_table(Hb_Configuration_Internal &prepared);

// Empties a working table that brought no news. Queries then return the nodes of the newest table before it.
void MOX_discard_working_table();
