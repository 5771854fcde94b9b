// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/node_table.h"

#include <algorithm>

#include "lib/hb_global_data/configuration_checks.h"

void hb_init_global_node_tbl() {
    const int nodes = hb_node_bound();
    std::fill_n(global_node_tbl, nodes, Hb_False);
    global_num_nodes = 0;
    if (global_config_tbl.Hb_adapters_per_node <= 0) {
        return;
    }
    // Walks the adapters that exist: there may be far more slots.
    for (const Hb_Adapter_Entry &adapter : hb_configured_adapters()) {
        const auto node =
            adapter.Hb_adapter_num / static_cast<uint32_t>(global_config_tbl.Hb_adapters_per_node);
        if (node < static_cast<uint32_t>(nodes) && global_node_tbl[node] == Hb_False) {
            global_node_tbl[node] = Hb_True;
            ++global_num_nodes;
        }
    }
}
