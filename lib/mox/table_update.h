// Building a configuration table from the cluster service.
#ifndef MOX_TABLE_UPDATE_H
#define MOX_TABLE_UPDATE_H

#include "lib/hb_global_data/configuration_table.h"
#include "qz_mox.h"

// Fills cfg_table, whose lists must be free, from the service; what a node's liveness event does not touch is
// copied from src_cfg_table. A null event rebuilds all; a null source means that nothing is known from before.
// Nothing is written before all three queries have succeeded. global_node_tbl and global_num_nodes follow.
// Errors: HB_ERROR_NO_MEMORY (17), HB_ERROR_CLUSTER_QUERY_FAILED (63), HB_ERROR_NODE_QUERY_FAILED (64),
// HB_ERROR_INTERFACE_QUERY_FAILED (65). A node or interface that is neither up nor down leaves
// HB_ERROR_NODE_STATE_UNKNOWN (70) or HB_ERROR_ADAPTER_STATE_UNKNOWN (71) behind, also on success.
Hb_Rc hb_mox_update_global_tbl(Hb_Configuration_Internal *cfg_table, qz_orb_event_metadata_t *event_metadata_p,
                               Hb_Configuration_Internal *src_cfg_table);

// Builds the working table from the service, from the live table. When that fails the working table stays as it was,
// and a whole comparison is owed. Errors: as above.
Hb_Rc hb_mox_update_working_table(qz_orb_event_metadata_t *event_metadata_p);

// Makes a table that was built earlier the working one, with the verdicts of membership daemons that the live table
// holds, and empties it. False where it has no nodes: then nothing changes.
bool MOX_use_prepared_table(Hb_Configuration_Internal &prepared);

// Empties a working table that was built for no news. The nodes that queries know are again those of the newest table before it.
void MOX_discard_working_table();

#endif
