// From a configuration message to the configuration table.
#ifndef HB_CONFIGURATION_LOAD_H
#define HB_CONFIGURATION_LOAD_H

#include "lib/wire/snapshot_view.h"

// Replaces the table's lists and hash tables by the snapshot's. False, with the table as it was and error
// 17, when memory is short. The node table is not touched.
bool hb_load_snapshot(const Hb_Snapshot_View &snapshot);

// The same from a packet that hb_view_snapshot has accepted; the packet stays the caller's. Every configuration
// message is loaded by it, that of the opening and every update.
// Errors: HB_ERROR_NO_MEMORY (17).
Hb_Rc hb_get_adapter_network(client_packet *recv_pack);

#endif
