// SPDX-License-Identifier: Apache-2.0
// Loads a configuration message into the configuration table.
#pragma once

#include "lib/wire/snapshot_view.h"

// Replaces the table's lists and hash tables by those of the snapshot. When memory is short it returns false
// with error 17, and the table is unchanged. The node table is never changed.
bool hb_load_snapshot(const Hb_Snapshot_View &snapshot);

// The same from a packet that hb_view_snapshot has accepted. The caller keeps the packet. Every configuration
// message is loaded here, the first one and every update. Errors: HB_ERROR_NO_MEMORY (17).
Hb_Rc hb_get_adapter_network(client_packet *recv_pack);
