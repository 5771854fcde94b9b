// SPDX-License-Identifier: Apache-2.0
#include "lib/wire/snapshot_view.h"

#include <cstring>

namespace {

bool geometry_fits(const Hb_Snapshot_Header &header) {
    return header.Hb_max_nodes >= 0 && header.Hb_max_nodes <= HB_NODE_SLOTS &&
           header.Hb_adapters_per_node >= 0 && header.Hb_adapters_per_node <= HB_NETWORK_SLOTS &&
           header.Hb_num_adapters >= 0 && header.Hb_num_adapters <= HB_ADAPTER_SLOTS &&
           header.Hb_num_networks >= 0 && header.Hb_num_networks <= HB_NETWORK_SLOTS;
}

uint64_t size_needed(const Hb_Snapshot_Header &header) {
    return uint64_t{HB_REPLY_HEADER_SIZE} + sizeof(Hb_Snapshot_Header) +
           sizeof(Hb_Adapter_Entry) * static_cast<uint64_t>(header.Hb_num_adapters) +
           sizeof(Hb_Network_Entry) * static_cast<uint64_t>(header.Hb_num_networks);
}

Hb_Snapshot_View view_of(const char *record) {
    Hb_Snapshot_View view = {};
    const char *body = record + HB_REPLY_HEADER_SIZE;
    std::memcpy(&view.header, body, sizeof view.header);
    view.adapters = body + sizeof view.header;
    view.networks =
        view.adapters + sizeof(Hb_Adapter_Entry) * static_cast<std::size_t>(view.header.Hb_num_adapters);
    return view;
}

bool adapters_fit(const Hb_Snapshot_View &view) {
    const auto bound = static_cast<uint32_t>(view.header.Hb_adapters_per_node * view.header.Hb_max_nodes);
    for (int i = 0; i < view.header.Hb_num_adapters; ++i) {
        const char *entry = view.adapters + sizeof(Hb_Adapter_Entry) * static_cast<std::size_t>(i);
        uint32_t number = 0;
        std::memcpy(&number, entry + offsetof(Hb_Adapter_Entry, Hb_adapter_num), sizeof number);
        if (number >= bound) {
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<Hb_Snapshot_View> hb_view_snapshot(std::span<const char> record) {
    if (record.size() < HB_REPLY_HEADER_SIZE + sizeof(Hb_Snapshot_Header)) {
        return std::nullopt;
    }
    Hb_Snapshot_Header header;
    std::memcpy(&header, record.data() + HB_REPLY_HEADER_SIZE, sizeof header);
    if (!geometry_fits(header) || record.size() < size_needed(header)) {
        return std::nullopt;
    }
    const Hb_Snapshot_View view = view_of(record.data());
    return adapters_fit(view) ? std::optional(view) : std::nullopt;
}

Hb_Snapshot_View hb_trusted_snapshot(const client_packet *packet) {
    return view_of(reinterpret_cast<const char *>(packet));
}
