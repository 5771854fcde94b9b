// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/configuration_table.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

Hb_Configuration_Internal global_config_tbl;
Hb_Configuration_Internal global_config_tbl_new;
Hb_Boolean global_node_tbl[HB_NODE_SLOTS];
int global_num_nodes;
Hb_Boolean global_site_tbl[HB_SITE_SLOTS];
int global_num_sites;

static constexpr uint32_t ALL_BITS = 0xFFFFFFFFU;

const Hb_IP_address6 HB_INVALID_ADDR = {{{ALL_BITS, ALL_BITS, ALL_BITS}, ALL_BITS}};
const Hb_Adapter_Entry HB_INVALID_ADAP = {
    {{{ALL_BITS, ALL_BITS, ALL_BITS}, ALL_BITS}}, -1, "un", "", ALL_BITS, Hb_Entity_Undef};

std::span<const Hb_Adapter_Entry> hb_adapters_of(const Hb_Configuration_Internal &table) {
    if (table.Hb_global_adapter_list == nullptr || table.Hb_num_adapters <= 0) {
        return {};
    }
    return {table.Hb_global_adapter_list, static_cast<std::size_t>(table.Hb_num_adapters)};
}

bool hb_has_distinct_numbers(const Hb_Configuration_Internal &table) {
    return table.adap_hash != nullptr && Hash_entries(table.adap_hash) == table.Hb_num_adapters;
}

Hb_Adapter_Number hb_number_of(const Hb_Configuration_Internal &table, const Hb_Adapter_Entry &entry) {
    if (!table.is_consecutive) {
        return entry.Hb_adapter_num;
    }
    const Hb_Adapter_Entry *first = table.Hb_global_adapter_list;
    return first->Hb_adapter_num + static_cast<Hb_Adapter_Number>(&entry - first);
}

const Hb_Adapter_Entry *hb_get_adap_entry(Hb_Adapter_Number adapter) {
    const H_table_str *adapters = global_config_tbl.adap_hash;
    const void *entry = adapters != nullptr ? Hash_search(adapter, adapters) : nullptr;
    return entry != nullptr ? static_cast<const Hb_Adapter_Entry *>(entry) : &HB_INVALID_ADAP;
}

void hb_release_table_lists(Hb_Configuration_Internal &table) {
    // The pointer is cleared before its list is freed: a process that forks in between must not free it
    // twice.
    table.is_consecutive = false;
    table.has_first_addresses = false;
    delete[] std::exchange(table.Hb_global_adapter_list, nullptr);
    delete[] std::exchange(table.node_list, nullptr);
    for (H_table_str **hash : {&table.adap_hash, &table.ip_hash, &table.node_hash, &table.site_hash}) {
        Hash_free(std::exchange(*hash, nullptr));
    }
}

Hb_Adapter_Number hb_adapter_number_bound(const Hb_Configuration_Internal &table) {
    if (table.Hb_max_nodes <= 0 || table.Hb_adapters_per_node <= 0) {
        return 0;
    }
    const int64_t bound = static_cast<int64_t>(table.Hb_max_nodes) * table.Hb_adapters_per_node;
    return static_cast<Hb_Adapter_Number>(std::min<int64_t>(bound, HB_ADAPTER_SLOTS));
}
