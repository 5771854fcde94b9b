// Building a configuration table from the cluster service.
#ifndef MOX_TABLE_UPDATE_H
#define MOX_TABLE_UPDATE_H

#include "lib/hb_global_data/configuration_table.h"
#include "qz_mox.h"

// Fills cfg_table, whose lists must be free, from the service; what a node's liveness event does not touch is
// copied from src_cfg_table. A null event rebuilds all; a null source means that nothing is known from before.
// Nothing is written before all three queries have succeeded. global_node_tbl and global_num_nodes follow.
// Errors: 17 out of memory; 63 cluster, 64 node, 65 interface query failed; on success 70, 71 a node or
// interface is neither up nor down.
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
