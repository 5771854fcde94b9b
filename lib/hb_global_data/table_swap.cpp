// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/table_swap.h"

#include <algorithm>
#include <new>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"

void empty_global_config_table(Hb_Configuration_Internal *t) {
    if (t == nullptr) {
        return;
    }
    hb_release_table_lists(*t);
    t->local_node_number = 0;
    t->Hb_max_nodes = 0;
    t->Hb_num_nodes = 0;
    t->Hb_adapters_per_node = 0;
    t->Hb_num_adapters = 0;
    t->Hb_num_networks = 0;
}

void hb_empty_live_table() {
    std::fill_n(global_node_tbl, std::clamp<int>(global_config_tbl.Hb_max_nodes, 0, HB_NODE_SLOTS), Hb_False);
    global_num_nodes = 0;
    empty_global_config_table(&global_config_tbl);
    std::fill_n(global_config_tbl.Hb_global_network_list, HB_NETWORK_SLOTS, Hb_Network_Entry());
}

bool hb_make_table_lists(Hb_Configuration_Internal &table, int adapters) {
    table.node_hash = Hash_init("MOX_node list", prime(4098));
    table.node_list = new (std::nothrow) Hb_Node_Entry[HB_NODE_SLOTS]();
    table.Hb_global_adapter_list =
        new (std::nothrow) Hb_Adapter_Entry[static_cast<std::size_t>(std::max(adapters, 1))]();
    table.adap_hash = Hash_init("Hb_Adapter list", prime(2 * adapters));
    table.ip_hash = Hash_init("Hb_IP list", prime(2 * adapters));
    return table.node_hash != nullptr && table.node_list != nullptr &&
           table.Hb_global_adapter_list != nullptr && table.adap_hash != nullptr && table.ip_hash != nullptr;
}

bool hb_index_node(Hb_Configuration_Internal &table, int i) {
    if (table.node_list == nullptr) {
        return false;
    }
    Hb_Node_Entry &entry = table.node_list[i];
    const int before = Hash_entries(table.node_hash);
    const void *earlier = Hash_insert(static_cast<unsigned long>(entry.node_num), table.node_hash, &entry);
    return earlier != nullptr || Hash_entries(table.node_hash) > before;
}

bool hb_index_adapter(Hb_Configuration_Internal &table, int i) {
    if (table.Hb_global_adapter_list == nullptr) {
        return false;
    }
    Hb_Adapter_Entry &entry = table.Hb_global_adapter_list[i];
    const int before = Hash_entries(table.adap_hash);
    const int addresses_before = Hash_entries(table.ip_hash);
    const void *earlier = Hash_insert(entry.Hb_adapter_num, table.adap_hash, &entry);
    const void *same_address =
        Hash_insert_IPv6(reinterpret_cast<const H_IPv6_key_t *>(&entry.Hb_ip_address), table.ip_hash, &entry);
    return (earlier != nullptr || Hash_entries(table.adap_hash) > before) &&
           (same_address != nullptr || Hash_entries(table.ip_hash) > addresses_before);
}

namespace {

// Copies the lists and hash tables of `from` and their counts. A count without its list becomes 0.
bool copy_lists(const Hb_Configuration_Internal &from, Hb_Configuration_Internal &to) {
    const int nodes = from.node_list != nullptr ? from.Hb_num_nodes : 0;
    const int adapters = from.Hb_global_adapter_list != nullptr ? from.Hb_num_adapters : 0;
    if (!hb_make_table_lists(to, adapters)) {
        return false;
    }
    hb_trace_values(HB_TRACE_INFO, HB_TR_SWAP_NODES, nodes);
    bool is_whole = true;
    for (int i = 0; i < nodes && i < HB_NODE_SLOTS; ++i) {
        to.node_list[i] = from.node_list[i];
        is_whole = hb_index_node(to, i) && is_whole;
    }
    to.Hb_num_nodes = nodes;
    to.Hb_num_adapters = adapters;
    for (int i = 0; i < adapters; ++i) {
        to.Hb_global_adapter_list[i] = from.Hb_global_adapter_list[i];
        is_whole = hb_index_adapter(to, i) && is_whole;
    }
    return is_whole;
}

} // namespace

void MOX_copy_and_delete_global_config_tbl() {
    const Hb_Configuration_Internal &from = global_config_tbl_new;
    Hb_Configuration_Internal copy = {};
    if (!copy_lists(from, copy)) {
        empty_global_config_table(&copy);
        set_hb_errno(HB_ERROR_NO_MEMORY);
        return;
    }
    std::copy_n(from.Hb_global_network_list, HB_NETWORK_SLOTS, copy.Hb_global_network_list);
    copy.local_node_number = from.local_node_number;
    copy.Hb_max_nodes = from.Hb_max_nodes;
    copy.Hb_adapters_per_node = from.Hb_adapters_per_node;
    copy.Hb_num_networks = from.Hb_num_networks;
    hb_move_config_table(copy, global_config_tbl);
    empty_global_config_table(&global_config_tbl_new);
}

void hb_move_config_table(Hb_Configuration_Internal &from, Hb_Configuration_Internal &to) {
    empty_global_config_table(&to);
    const Hb_Configuration_Internal sites = to;
    to = from;
    to.Hb_max_sites = sites.Hb_max_sites;
    to.Hb_num_sites = sites.Hb_num_sites;
    to.site_list = sites.site_list;
    to.site_hash = nullptr;
    from = Hb_Configuration_Internal();
}

void hb_mark_present_nodes(const Hb_Configuration_Internal &table) {
    std::fill_n(global_node_tbl, HB_NODE_SLOTS, Hb_False);
    global_num_nodes = 0;
    for (int i = 0; i < table.Hb_num_nodes && table.node_list != nullptr; ++i) {
        const Hb_Node_Number node = table.node_list[i].node_num;
        if (node >= 0 && node < HB_NODE_SLOTS && global_node_tbl[node] == Hb_False) {
            global_node_tbl[node] = Hb_True;
            ++global_num_nodes;
        }
    }
}

Hb_Node_Entry *hb_find_node(const Hb_Configuration_Internal &table, int node) {
    return table.node_hash != nullptr
               ? static_cast<Hb_Node_Entry *>(Hash_search(static_cast<unsigned long>(node), table.node_hash))
               : nullptr;
}
