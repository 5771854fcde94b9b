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

// The same for global_config_tbl_new, from the live table. Where the service does not answer it stays as it was.
void hb_mox_update_working_table(qz_orb_event_metadata_t *event_metadata_p);

// Empties the working table, unless something that is queued may still make it live.
void MOX_discard_working_table();

#endif
