// SPDX-License-Identifier: Apache-2.0
// The nodes that queries return: global_node_tbl and global_num_nodes.
#pragma once

#include <algorithm>

#include "lib/hb_global_data/configuration_table.h"

// Reading the service replaces the known nodes. This object restores the previous ones, for a table that is
// not live yet or never becomes live.
class MOX_Known_Nodes {
  public:
    MOX_Known_Nodes() { std::copy_n(global_node_tbl, HB_NODE_SLOTS, known_); }
    MOX_Known_Nodes(const MOX_Known_Nodes &) = delete;
    MOX_Known_Nodes &operator=(const MOX_Known_Nodes &) = delete;
    ~MOX_Known_Nodes() {
        std::copy_n(known_, HB_NODE_SLOTS, global_node_tbl);
        global_num_nodes = count_;
    }

  private:
    Hb_Boolean known_[HB_NODE_SLOTS];
    int count_ = global_num_nodes;
};
