// A configuration message's body, checked.
#ifndef HB_SNAPSHOT_VIEW_H
#define HB_SNAPSHOT_VIEW_H

#include <optional>
#include <span>

#include "lib/wire/hb_wire.h"

struct Hb_Snapshot_View {
    Hb_Snapshot_Header header;
    const char *adapters; // header.Hb_num_adapters x 64 bytes, unaligned
    const char *networks; // header.Hb_num_networks x 86 bytes
};

// Nothing when the record does not hold together: shorter than its counts say, more networks or adapters than
// there are slots, a geometry beyond the table's, or an adapter number beyond the geometry.
std::optional<Hb_Snapshot_View> hb_view_snapshot(std::span<const char> record);

// The view of a record that is known to hold together.
Hb_Snapshot_View hb_trusted_snapshot(const client_packet *packet);

#endif
