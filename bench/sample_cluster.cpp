// SPDX-License-Identifier: Apache-2.0
#include "bench/sample_cluster.h"

#include <arpa/inet.h>
#include <cstdio>
#include <stdexcept>

#include "bench/record_bytes.h"
#include "lib/api/session.h"
#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_global_data/node_table.h"

std::vector<char> configuration_record_of(int nodes) {
    const int adapters = nodes * SAMPLE_ADAPTERS_PER_NODE;
    std::vector<char> record(HB_REPLY_HEADER_SIZE, 0);
    append_bytes(record, Hb_Snapshot_Header{1, 0, nodes, SAMPLE_ADAPTERS_PER_NODE, adapters, HB_NETWORK_SLOTS});
    for (Hb_Adapter_Number number = 0; number < static_cast<unsigned>(adapters); ++number) {
        Hb_Adapter_Entry entry{};
        entry.Hb_ip_address = sample_address(number);
        entry.Hb_network = static_cast<Hb_Network_Number>(number % SAMPLE_ADAPTERS_PER_NODE);
        std::snprintf(entry.Hb_adapter_type, sizeof entry.Hb_adapter_type, "eth%d", entry.Hb_network);
        entry.Hb_adapter_num = number;
        entry.Hb_state = Hb_Entity_Up;
        append_bytes(record, entry);
    }
    for (int number = 0; number < HB_NETWORK_SLOTS; ++number) {
        Hb_Network_Entry entry{};
        std::snprintf(entry.Hb_network_name, sizeof entry.Hb_network_name, "net_%d", number);
        std::snprintf(entry.Hb_network_type, sizeof entry.Hb_network_type, "ether");
        append_bytes(record, entry);
    }
    return record;
}

const std::vector<char> &sample_configuration_record() {
    static const std::vector<char> record = configuration_record_of(SAMPLE_NODES);
    return record;
}

Hb_IP_address6 sample_address(Hb_Adapter_Number adapter) {
    Hb_IP_address6 address{};
    address.v4_in_v6.filler[2] = htonl(0xFFFF);
    const uint32_t node = adapter / SAMPLE_ADAPTERS_PER_NODE;
    const uint32_t network = adapter % SAMPLE_ADAPTERS_PER_NODE;
    address.v4_in_v6.v4_in_v6_ipv4 = htonl(0x0A000000U | network << 16 | node);
    return address;
}

void load_sample_cluster() {
    const auto view = hb_view_snapshot(sample_configuration_record());
    if (!view || !hb_load_snapshot(*view)) {
        throw std::runtime_error("the sample cluster cannot be loaded");
    }
    hb_init_global_node_tbl();
    client_initialized = 1;
}
