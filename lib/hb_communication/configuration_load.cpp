// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_communication/configuration_load.h"

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/address_text.h"
#include "lib/base/error_number.h"
#include "lib/base/text.h"
#include "lib/hb_global_data/configuration_table.h"

namespace {

struct Hash_Release {
    void operator()(H_table_str *table) const { Hash_free(table); }
};
using Owned_Hash = std::unique_ptr<H_table_str, Hash_Release>;

// The lists that a load replaces. They are complete before the table is changed.
struct Lists {
    std::unique_ptr<Hb_Adapter_Entry[]> adapters;
    std::unique_ptr<Hb_Node_Entry[]> nodes;
    Owned_Hash by_number;
    Owned_Hash by_address;
    Owned_Hash by_node;
    int node_count = 0;
};

void trace_duplicate(Hb_Adapter_Entry &entry) {
    if (!hb_trace_on(HB_TRACE_INFO)) {
        return;
    }
    char address[INET6_ADDRSTRLEN];
    wisplib_ntop(&entry.Hb_ip_address, address);
    char type[HB_ADAPTER_TYPE_SIZE];
    hb_copy_text(type, entry.Hb_adapter_type);
    const Hb_Errno_Keeper kept;
    tr_ms_record_data_1(HB_TRACE_COMPONENT, HB_TR_LOAD_DUPLICATE_ADDRESS, pTokens[HB_TRACE_INFO], 4, address,
                        static_cast<int>(std::strlen(address) + 1), type,
                        static_cast<int>(std::strlen(type) + 1), &entry.Hb_adapter_num, 4, &entry.Hb_state, 4);
}

static_assert(sizeof(H_IPv6_key_t) == sizeof(Hb_IP_address6));

bool allocate(Lists &lists, int adapters) {
    lists.adapters.reset(new (std::nothrow) Hb_Adapter_Entry[static_cast<std::size_t>(adapters)]);
    lists.nodes.reset(new (std::nothrow) Hb_Node_Entry[HB_NODE_SLOTS]());
    lists.by_number.reset(Hash_init("Hb_Adapter list", prime(2 * adapters)));
    lists.by_node.reset(Hash_init("preMOX_node list", prime(4098)));
    lists.by_address.reset(Hash_init("preMOX_Hb_IP list", prime(2 * adapters)));
    return lists.adapters && lists.nodes && lists.by_number && lists.by_node && lists.by_address;
}

// The list is copied in pieces, so that a piece is still in the processor's cache when it is indexed.
constexpr int COPIED_AT_ONCE = 64;

void copy_adapters(Lists &lists, const Hb_Snapshot_View &snapshot, int first, int count) {
    std::memcpy(&lists.adapters[static_cast<std::size_t>(first)],
                snapshot.adapters + sizeof(Hb_Adapter_Entry) * static_cast<std::size_t>(first),
                sizeof(Hb_Adapter_Entry) * static_cast<std::size_t>(count));
}

bool add_by_number(Lists &lists, Hb_Adapter_Entry &entry) {
    const int before = lists.by_number->entries;
    const void *earlier = Hash_insert(entry.Hb_adapter_num, lists.by_number.get(), &entry);
    return earlier != nullptr || lists.by_number->entries > before;
}

bool add_node(Lists &lists, int node) {
    Hb_Node_Entry &entry = lists.nodes[static_cast<std::size_t>(lists.node_count)];
    entry.node_num = static_cast<Hb_Node_Number>(node);
    Hash_insert(static_cast<unsigned long>(node), lists.by_node.get(), &entry);
    ++lists.node_count;
    return Hash_entries(lists.by_node.get()) == lists.node_count;
}

// The first adapter with an address keeps it.
bool add_by_address(Lists &lists, int first, int count) {
    return Hash_insert_array_IPv6(
        lists.by_address.get(), &lists.adapters[static_cast<std::size_t>(first)], count,
        sizeof(Hb_Adapter_Entry), offsetof(Hb_Adapter_Entry, Hb_ip_address),
        [](void *adapter) { trace_duplicate(*static_cast<Hb_Adapter_Entry *>(adapter)); });
}

bool build(Lists &lists, const Hb_Snapshot_View &snapshot) {
    const int count = snapshot.header.Hb_num_adapters;
    if (!allocate(lists, count)) {
        return false;
    }
    // Addresses are inserted after all numbers, so that each table's nodes lie together in memory. That makes
    // freeing them, and so a load, much faster. While tracing is on each adapter is inserted at once, to keep
    // the order of the trace records.
    const bool whole = hb_trace_on(HB_TRACE_INFO);
    std::bitset<HB_NODE_SLOTS> seen;
    for (int i = 0; i < count; ++i) {
        if (i % COPIED_AT_ONCE == 0) {
            copy_adapters(lists, snapshot, i, std::min(COPIED_AT_ONCE, count - i));
        }
        Hb_Adapter_Entry &entry = lists.adapters[static_cast<std::size_t>(i)];
        const auto node = static_cast<int>(entry.Hb_adapter_num /
                                           static_cast<uint32_t>(snapshot.header.Hb_adapters_per_node));
        if (!add_by_number(lists, entry)) {
            return false;
        }
        hb_trace_values(HB_TRACE_INFO, HB_TR_LOAD_ADAPTER, entry.Hb_adapter_num, node);
        if (!seen[static_cast<std::size_t>(node)]) {
            seen[static_cast<std::size_t>(node)] = true;
            if (!add_node(lists, node)) {
                return false;
            }
        }
        if (whole && !add_by_address(lists, i, 1)) {
            return false;
        }
    }
    return whole || add_by_address(lists, 0, count);
}

void install(Lists &lists, const Hb_Snapshot_View &snapshot, Hb_Configuration_Internal &table) {
    if (table.Hb_global_adapter_list != nullptr) {
        Hash_delete_array_IPv6(table.ip_hash, table.Hb_global_adapter_list, table.Hb_num_adapters,
                               sizeof(Hb_Adapter_Entry), offsetof(Hb_Adapter_Entry, Hb_ip_address));
    }
    H_table_str *sites = std::exchange(table.site_hash, nullptr); // a snapshot has no sites
    hb_release_table_lists(table);
    table.site_hash = sites;
    table.Hb_global_adapter_list = lists.adapters.release();
    table.node_list = lists.nodes.release();
    table.adap_hash = lists.by_number.release();
    table.ip_hash = lists.by_address.release();
    table.has_first_addresses = true;
    table.node_hash = lists.by_node.release();
    table.local_node_number = snapshot.header.local_node_number;
    table.Hb_max_nodes = snapshot.header.Hb_max_nodes;
    table.Hb_num_nodes = lists.node_count;
    table.Hb_adapters_per_node = snapshot.header.Hb_adapters_per_node;
    table.Hb_num_adapters = snapshot.header.Hb_num_adapters;
    table.Hb_num_networks = snapshot.header.Hb_num_networks;
    std::memcpy(table.Hb_global_network_list, snapshot.networks,
                sizeof(Hb_Network_Entry) * static_cast<std::size_t>(snapshot.header.Hb_num_networks));
}

} // namespace

bool hb_load_snapshot(const Hb_Snapshot_View &snapshot) {
    Lists lists;
    if (!build(lists, snapshot)) {
        set_hb_errno(HB_ERROR_NO_MEMORY);
        return false;
    }
    install(lists, snapshot, global_config_tbl);
    return true;
}

Hb_Rc hb_get_adapter_network(client_packet *recv_pack) {
    return hb_load_snapshot(hb_trusted_snapshot(recv_pack)) ? Hb_Success : Hb_Failure;
}
