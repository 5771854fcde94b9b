// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/adapter_index.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

bool same_name(const Hb_Adapter_Entry &a, const Hb_Adapter_Entry &b) {
    return std::strncmp(a.Hb_adapter_type, b.Hb_adapter_type, HB_ADAPTER_TYPE_SIZE) == 0;
}

bool same_address(const Hb_Adapter_Entry &a, const Hb_Adapter_Entry &b) {
    return std::memcmp(&a.Hb_ip_address, &b.Hb_ip_address, sizeof a.Hb_ip_address) == 0;
}

// FNV-1a.
uint32_t mix(uint32_t hash, const void *bytes, std::size_t length) {
    const auto *byte = static_cast<const unsigned char *>(bytes);
    for (std::size_t i = 0; i < length; ++i) {
        hash = (hash ^ byte[i]) * 16777619U;
    }
    return hash;
}

// Returns the smallest power of two that is not below the count, at least 1.
uint32_t power_of_two(int count) {
    uint32_t power = 1;
    while (power < static_cast<uint32_t>(std::max(count, 0))) {
        power *= 2;
    }
    return power;
}

} // namespace

uint32_t MOX_node_of(const Hb_Configuration_Internal &table, const Hb_Adapter_Entry &adapter) {
    return table.Hb_adapters_per_node > 0
               ? adapter.Hb_adapter_num / static_cast<uint32_t>(table.Hb_adapters_per_node)
               : MOX_NO_NODE;
}

MOX_Adapter_Index::MOX_Adapter_Index(const Hb_Configuration_Internal &table, MOX_Identity identity)
    : table_(table), identity_(identity),
      count_(table.Hb_adapters_per_node > 0 && table.Hb_global_adapter_list != nullptr ? table.Hb_num_adapters
                                                                                       : 0) {
    const uint32_t buckets = power_of_two(count_);
    mask_ = buckets - 1;
    node_mask_ = std::min(mask_, power_of_two(table.Hb_adapters_per_node) - 1);
    heads_.reset(new (std::nothrow) int[buckets]);
    next_.reset(new (std::nothrow) int[static_cast<std::size_t>(std::max(count_, 0))]);
    if (!heads_ || !next_) {
        heads_.reset();
        return;
    }
    std::fill_n(heads_.get(), buckets, -1);
    // Insertion goes from the last adapter to the first, so that each chain is in ascending order.
    for (int i = count_ - 1; i >= 0; --i) {
        const Hb_Adapter_Entry &entry = table_.Hb_global_adapter_list[i];
        int &head = heads_[bucket(MOX_node_of(table_, entry), entry)];
        next_[static_cast<std::size_t>(i)] = head;
        head = i;
    }
}

const Hb_Adapter_Entry *MOX_Adapter_Index::find(uint32_t node, const Hb_Adapter_Entry &a) const {
    int i = 0;
    if (heads_) {
        for (i = heads_[bucket(node, a)]; i != -1 && !same(node, a, i);
             i = next_[static_cast<std::size_t>(i)]) {
        }
    } else {
        while (i < count_ && !same(node, a, i)) {
            ++i;
        }
    }
    return i != -1 && i < count_ ? &table_.Hb_global_adapter_list[i] : nullptr;
}

bool MOX_Adapter_Index::same(uint32_t node, const Hb_Adapter_Entry &a, int i) const {
    const Hb_Adapter_Entry &b = table_.Hb_global_adapter_list[i];
    return MOX_node_of(table_, b) == node && same_name(a, b) &&
           (identity_ == MOX_Identity::interface || same_address(a, b));
}

// A node's adapters are mostly searched together, so their buckets lie together. In large tables the
// processor's caches decide how long a search takes.
uint32_t MOX_Adapter_Index::bucket(uint32_t node, const Hb_Adapter_Entry &a) const {
    uint32_t hash = mix(2166136261U, a.Hb_adapter_type, strnlen(a.Hb_adapter_type, HB_ADAPTER_TYPE_SIZE));
    if (identity_ == MOX_Identity::interface_and_address) {
        hash = mix(hash, &a.Hb_ip_address, sizeof a.Hb_ip_address);
    }
    const uint32_t of_node = node * 2654435769U;
    const uint32_t within_node = (hash ^ (hash >> 16) ^ of_node) & node_mask_;
    return ((of_node >> 8 & ~node_mask_) | within_node) & mask_;
}
