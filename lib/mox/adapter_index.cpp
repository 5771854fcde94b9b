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
uint32_t mix_name(uint32_t hash, const char (&name)[HB_ADAPTER_TYPE_SIZE]) {
    for (std::size_t i = 0; i < sizeof name && name[i] != '\0'; ++i) {
        hash = (hash ^ static_cast<unsigned char>(name[i])) * 16777619U;
    }
    return hash;
}

uint32_t mix_address(uint32_t hash, const Hb_IP_address6 &address) {
    uint32_t words[4];
    static_assert(sizeof words == sizeof address);
    std::memcpy(words, &address, sizeof words);
    for (const uint32_t word : words) {
        hash = (hash ^ word ^ word >> 16) * 2246822519U;
        hash ^= hash >> 15;
    }
    return hash;
}

void fetch(const Hb_Adapter_Entry &entry) {
    // An entry may lie in two cache lines.
    __builtin_prefetch(&entry);
    __builtin_prefetch(reinterpret_cast<const char *>(&entry + 1) - 1);
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

int MOX_adapters_with_node(const Hb_Configuration_Internal &table) {
    return table.Hb_adapters_per_node > 0 && table.Hb_global_adapter_list != nullptr ? table.Hb_num_adapters
                                                                                     : 0;
}

MOX_Adapter_Index::MOX_Adapter_Index(const Hb_Configuration_Internal &table, MOX_Identity identity)
    : table_(table), identity_(identity), count_(MOX_adapters_with_node(table)) {
    const uint32_t buckets = power_of_two(count_);
    mask_ = buckets - 1;
    node_mask_ = std::min(mask_, power_of_two(table.Hb_adapters_per_node) - 1);
    if (count_ > HB_ADAPTER_SLOTS) {
        return;
    }
    heads_.reset(new (std::nothrow) Place[buckets]);
    next_.reset(new (std::nothrow) Place[static_cast<std::size_t>(std::max(count_, 0))]);
    if (!heads_ || !next_) {
        heads_.reset();
        return;
    }
    std::fill_n(heads_.get(), buckets, NO_PLACE);
    // Insertion goes from the last adapter to the first, so that each chain is in ascending order.
    for (int i = count_ - 1; i >= 0; --i) {
        fetch(table_.Hb_global_adapter_list[std::max(i - BLOCK, 0)]);
        const Hb_Adapter_Entry &entry = table_.Hb_global_adapter_list[i];
        const uint32_t node = MOX_node_of(table_, entry);
        const uint32_t hash = hash_of(node, entry);
        Place &head = heads_[bucket(node, hash)];
        next_[static_cast<std::size_t>(i)] = head;
        head = (hash & ~POSITION) | static_cast<Place>(i);
    }
}

void MOX_Adapter_Index::find_block(const Hb_Configuration_Internal &from, int first, int count,
                                   const Hb_Adapter_Entry **partners) const {
    const Hb_Adapter_Entry *wanted = &from.Hb_global_adapter_list[first];
    if (!heads_) {
        for (int k = 0; k < count; ++k) {
            partners[k] = scan(MOX_node_of(from, wanted[k]), wanted[k]);
        }
        return;
    }
    uint32_t nodes[BLOCK];
    uint32_t hashes[BLOCK];
    const Place *heads[BLOCK];
    Place found[BLOCK];
    for (int k = 0; k < count; ++k) {
        fetch(from.Hb_global_adapter_list[std::min(first + k + BLOCK, from.Hb_num_adapters - 1)]);
        nodes[k] = MOX_node_of(from, wanted[k]);
        hashes[k] = hash_of(nodes[k], wanted[k]);
        heads[k] = &heads_[bucket(nodes[k], hashes[k])];
        __builtin_prefetch(heads[k]);
    }
    for (int k = 0; k < count; ++k) {
        found[k] = candidate(hashes[k], *heads[k]);
        if (found[k] != NO_PLACE) {
            fetch(table_.Hb_global_adapter_list[found[k] & POSITION]);
        }
    }
    for (int k = 0; k < count; ++k) {
        Place place = found[k];
        while (place != NO_PLACE && !same(nodes[k], wanted[k], place & POSITION)) {
            place = candidate(hashes[k], next_[place & POSITION]);
        }
        partners[k] = place != NO_PLACE ? &table_.Hb_global_adapter_list[place & POSITION] : nullptr;
    }
}

// Returns the first place, from this one of a chain on, that has the hash, or NO_PLACE.
MOX_Adapter_Index::Place MOX_Adapter_Index::candidate(uint32_t hash, Place place) const {
    while (place != NO_PLACE && ((place ^ hash) & ~POSITION) != 0) {
        place = next_[place & POSITION];
    }
    return place;
}

const Hb_Adapter_Entry *MOX_Adapter_Index::scan(uint32_t node, const Hb_Adapter_Entry &a) const {
    for (int i = 0; i < count_; ++i) {
        if (same(node, a, static_cast<uint32_t>(i))) {
            return &table_.Hb_global_adapter_list[i];
        }
    }
    return nullptr;
}

bool MOX_Adapter_Index::same(uint32_t node, const Hb_Adapter_Entry &a, uint32_t position) const {
    const Hb_Adapter_Entry &b = table_.Hb_global_adapter_list[position];
    return MOX_node_of(table_, b) == node && same_name(a, b) &&
           (identity_ == MOX_Identity::interface || same_address(a, b));
}

uint32_t MOX_Adapter_Index::hash_of(uint32_t node, const Hb_Adapter_Entry &a) const {
    const uint32_t hash = mix_name(2166136261U ^ node, a.Hb_adapter_type);
    return identity_ == MOX_Identity::interface_and_address ? mix_address(hash, a.Hb_ip_address) : hash;
}

// A node's adapters are mostly searched together, and nodes mostly in order, so their buckets lie in that order
// too. In large tables the processor's caches decide how long a search takes.
uint32_t MOX_Adapter_Index::bucket(uint32_t node, uint32_t hash) const {
    const uint32_t within_node = (hash ^ (hash >> 16)) & node_mask_;
    return (node * (node_mask_ + 1) + within_node) & mask_;
}
