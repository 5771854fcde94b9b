// SPDX-License-Identifier: Apache-2.0
// Finds the same adapter in another table.
#pragma once

#include <algorithm>
#include <memory>

#include "lib/hb_global_data/configuration_table.h"

// Returns the adapter's node, computed with the table's adapters per node. Without adapters per node no
// adapter has a node.
inline constexpr uint32_t MOX_NO_NODE = 0xFFFFFFFF;
uint32_t MOX_node_of(const Hb_Configuration_Internal &table, const Hb_Adapter_Entry &adapter);

// Returns the number of the table's adapters, or 0 without adapters per node or without a list.
int MOX_adapters_with_node(const Hb_Configuration_Internal &table);

// The properties that make adapters of two tables the same: node and interface name, with or without the
// address.
enum class MOX_Identity { interface, interface_and_address };

// An index of a table's adapters by identity. The table must not change while the index lives. When memory is
// short every search walks the table, with the same result.
class MOX_Adapter_Index {
  public:
    MOX_Adapter_Index(const Hb_Configuration_Internal &table, MOX_Identity identity);

    // Calls visit(a, b) for each adapter `a` of `from`, in order. `b` is the indexed table's first adapter that
    // is the same, or null. Stops when a visit returns false, and returns false then.
    template <typename Visit> bool visit_pairs(const Hb_Configuration_Internal &from, Visit visit) const {
        const int count = MOX_adapters_with_node(from);
        const Hb_Adapter_Entry *partners[BLOCK];
        for (int first = 0; first < count; first += BLOCK) {
            const int size = std::min(BLOCK, count - first);
            find_block(from, first, size, partners);
            for (int i = 0; i < size; ++i) {
                if (!visit(from.Hb_global_adapter_list[first + i], partners[i])) {
                    return false;
                }
            }
        }
        return true;
    }

  private:
    // A position in the table, and beside it a part of that adapter's hash: most different adapters are not
    // even read.
    using Place = uint32_t;
    static constexpr Place POSITION = 0x1FFFF;
    static constexpr Place NO_PLACE = 0xFFFFFFFF;
    static_assert(HB_ADAPTER_SLOTS < POSITION);

    // Large tables do not fit in the processor's caches. What a block of searches will read is fetched for all
    // of them before the first one needs it, and each list is fetched a block ahead.
    static constexpr int BLOCK = 64;

    void find_block(const Hb_Configuration_Internal &from, int first, int count,
                    const Hb_Adapter_Entry **partners) const;
    Place candidate(uint32_t hash, Place place) const;
    bool same(uint32_t node, const Hb_Adapter_Entry &a, uint32_t position) const;
    const Hb_Adapter_Entry *scan(uint32_t node, const Hb_Adapter_Entry &a) const;
    uint32_t hash_of(uint32_t node, const Hb_Adapter_Entry &a) const;
    uint32_t bucket(uint32_t node, uint32_t hash) const;

    const Hb_Configuration_Internal &table_;
    MOX_Identity identity_;
    int count_;
    uint32_t mask_ = 0;              // of bucket numbers
    uint32_t node_mask_ = 0;         // of the part of a bucket number that separates a node's adapters
    std::unique_ptr<Place[]> heads_; // for each bucket the lowest place
    std::unique_ptr<Place[]> next_;  // for each position the next higher place of its bucket
};
