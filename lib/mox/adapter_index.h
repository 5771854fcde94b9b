// SPDX-License-Identifier: Apache-2.0
// Finds the same adapter in another table.
#pragma once

#include <memory>

#include "lib/hb_global_data/configuration_table.h"

// Returns the adapter's node, computed with the table's adapters per node. Without adapters per node no
// adapter has a node.
inline constexpr uint32_t MOX_NO_NODE = 0xFFFFFFFF;
uint32_t MOX_node_of(const Hb_Configuration_Internal &table, const Hb_Adapter_Entry &adapter);

// The properties that make adapters of two tables the same: node and interface name, with or without the
// address.
enum class MOX_Identity { interface, interface_and_address };

// An index of a table's adapters by identity. The table must not change while the index lives. When memory is
// short every search walks the table, with the same result.
class MOX_Adapter_Index {
  public:
    MOX_Adapter_Index(const Hb_Configuration_Internal &table, MOX_Identity identity);

    // Returns the table's first adapter that is the same as adapter `a` of node `node`.
    const Hb_Adapter_Entry *find(uint32_t node, const Hb_Adapter_Entry &a) const;

  private:
    bool same(uint32_t node, const Hb_Adapter_Entry &a, int i) const;
    uint32_t bucket(uint32_t node, const Hb_Adapter_Entry &a) const;

    const Hb_Configuration_Internal &table_;
    MOX_Identity identity_;
    int count_;
    uint32_t mask_ = 0;            // of bucket numbers
    uint32_t node_mask_ = 0;       // of the part of a bucket number that separates a node's adapters
    std::unique_ptr<int[]> heads_; // for each bucket the lowest position, -1 for none
    std::unique_ptr<int[]> next_;  // for each position the next higher one of its bucket, -1 for none
};
