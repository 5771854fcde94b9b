// SPDX-License-Identifier: Apache-2.0
// The body of a configuration message, checked.
#pragma once

#include <optional>
#include <span>

#include "lib/wire/hb_wire.h"

struct Hb_Snapshot_View {
    Hb_Snapshot_Header header;
    const char *adapters; // header.Hb_num_adapters x 64 bytes, unaligned
    const char *networks; // header.Hb_num_networks x 86 bytes
};

// Returns nothing if the record is inconsistent. It may be shorter than its counts require, exceed the
// table's slots or bounds, or hold an adapter number outside its own bounds.
std::optional<Hb_Snapshot_View> hb_view_snapshot(std::span<const char> record);

// The view of a record that hb_view_snapshot has accepted.
Hb_Snapshot_View hb_trusted_snapshot(const client_packet *packet);
