// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/decode_record.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_communication/event_apply.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/node_table.h"
#include "lib/wire/event_view.h"
#include "lib/wire/packet.h"
#include "lib/wire/snapshot_view.h"

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// Has exactly the record's size, so that a read beyond it is detected.
std::unique_ptr<char[]> exact_copy(std::span<const char> record) {
    std::unique_ptr<char[]> copy(new char[record.size()]);
    std::copy(record.begin(), record.end(), copy.get());
    return copy;
}

std::vector<char> snapshot_of_eight_nodes_with_two_adapters() {
    constexpr int nodes = 8;
    constexpr int per_node = 2;
    const Hb_Snapshot_Header header{1, 0, nodes, per_node, nodes * per_node, 0};
    std::vector<char> record(HB_REPLY_HEADER_SIZE);
    const auto append = [&](const auto &part) {
        const std::size_t end = record.size();
        record.resize(end + sizeof part);
        std::memcpy(record.data() + end, &part, sizeof part);
    };
    append(header);
    for (Hb_Adapter_Number number = 0; number < nodes * per_node; ++number) {
        Hb_Adapter_Entry entry{};
        entry.Hb_adapter_num = number;
        entry.Hb_network = static_cast<Hb_Network_Number>(number % per_node);
        entry.Hb_ip_address.v4_in_v6.v4_in_v6_ipv4 = number;
        append(entry);
    }
    return record;
}

// Every event is decoded against the same table, so that a finding depends on its record alone.
void load_known_table() {
    static const std::vector<char> record = snapshot_of_eight_nodes_with_two_adapters();
    const auto view = hb_view_snapshot(record);
    require(view && hb_load_snapshot(*view));
    hb_init_global_node_tbl();
}

// Everything that the snapshot's view contains is read, loaded and queried.
void decode_as_snapshot(std::span<const char> record) {
    const auto view = hb_view_snapshot(record);
    if (!view) {
        return;
    }
    const Hb_Snapshot_Header &header = view->header;
    require(header.Hb_num_networks <= HB_NETWORK_SLOTS && header.Hb_max_nodes <= HB_NODE_SLOTS);
    require(header.Hb_adapters_per_node <= HB_NETWORK_SLOTS);
    Hb_Adapter_Number last = 0;
    for (int i = 0; i < header.Hb_num_adapters; ++i) {
        Hb_Adapter_Entry entry;
        std::memcpy(&entry, view->adapters + static_cast<std::size_t>(i) * sizeof entry, sizeof entry);
        require(entry.Hb_adapter_num < HB_ADAPTER_SLOTS);
        last = entry.Hb_adapter_num;
    }
    if (!hb_load_snapshot(*view)) {
        return;
    }
    hb_init_global_node_tbl();
    require(global_config_tbl.Hb_num_adapters == header.Hb_num_adapters);
    require(header.Hb_num_adapters == 0 || hb_get_adap_entry(last)->Hb_adapter_num == last);
}

// The functions that own a packet read it without its length, and report what the view reports.
void apply_as_packet(std::span<const char> record, int expected) {
    static Hb_Group group;
    int events = 0;
    Hb_Name name;
    Hb_Owned_Packet packet(reinterpret_cast<client_packet *>(exact_copy(record).release()));
    switch (packet->kind) {
    case HB_ADAPTER_DEATH:
    case HB_ADAPTER_JOIN:
    case HB_ADAPTER_NEW_GROUP:
        hb_get_adapter_event(&events, name, &group, packet.release());
        break;
    case HB_NODE_DEATH:
    case HB_NODE_JOIN:
    case HB_NODE_NEW_GROUP:
    case HB_NODE_HEARTBEAT:
        hb_get_node_event(&events, name, &group, packet.release());
        break;
    default:
        return;
    }
    require(events == expected && std::memchr(name, 0, sizeof name) != nullptr);
}

void decode_as_event(std::span<const char> record) {
    for (const int max_nodes : {0, 1, 16, 2049}) {
        const auto event = hb_view_event(record, max_nodes);
        if (event && std::holds_alternative<Hb_Node_Event_View>(*event)) {
            require(std::get<Hb_Node_Event_View>(*event).nodes.size() == max_nodes);
        }
    }
    load_known_table();
    const auto event = hb_view_event(record, global_config_tbl.Hb_max_nodes);
    if (!event) {
        return;
    }
    static Hb_Group group;
    Hb_Name name;
    const int events = hb_apply_event(*event, name, group);
    require(events == group.Hb_events && std::memchr(name, 0, sizeof name) != nullptr);
    apply_as_packet(record, events);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    const std::span<const char> input(reinterpret_cast<const char *>(data), size);
    const std::unique_ptr<char[]> copy = exact_copy(input);
    const std::span<const char> record(copy.get(), size);
    decode_as_snapshot(record);
    decode_as_event(record);
    return 0;
}
