// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/adapter_address.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace {

const Hb_Adapter_Entry *first_with(std::span<const Hb_Adapter_Entry> adapters, const Hb_IP_address6 &address) {
    const auto found = std::ranges::find_if(adapters, [&address](const Hb_Adapter_Entry &entry) {
        return std::memcmp(&entry.Hb_ip_address, &address, sizeof address) == 0;
    });
    return found != adapters.end() ? &*found : nullptr;
}

} // namespace

// The index is complete if it has as many addresses as the table has adapters: then no two adapters share an
// address, and its answer is exact. Otherwise its answer may be a later adapter with the same address, or the
// adapter may be missing in it. The earlier adapters must then be compared.
const Hb_Adapter_Entry *hb_find_adapter_by_address(const Hb_Configuration_Internal &table,
                                                   const Hb_IP_address6 &address) {
    const std::span<const Hb_Adapter_Entry> adapters = hb_adapters_of(table);
    static_assert(sizeof(H_IPv6_key_t) == sizeof address);
    const auto *indexed = static_cast<const Hb_Adapter_Entry *>(
        Hash_search_IPv6(reinterpret_cast<const H_IPv6_key_t *>(&address), table.ip_hash));
    if (!adapters.empty() &&
        (table.has_first_addresses || Hash_entries(table.ip_hash) == table.Hb_num_adapters)) {
        return indexed;
    }
    if (indexed == nullptr || adapters.empty()) {
        return first_with(adapters, address);
    }
    const auto earlier = static_cast<std::size_t>(indexed - adapters.data());
    const Hb_Adapter_Entry *first = first_with(adapters.first(std::min(earlier, adapters.size())), address);
    return first != nullptr ? first : indexed;
}
