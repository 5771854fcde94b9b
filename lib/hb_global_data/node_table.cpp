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
    bool is_consecutive = true;
    const std::span<const Hb_Adapter_Entry> adapters = hb_configured_adapters();
    for (std::size_t place = 0; place < adapters.size(); ++place) {
        const Hb_Adapter_Entry &adapter = adapters[place];
        is_consecutive = is_consecutive && adapter.Hb_adapter_num == adapters[0].Hb_adapter_num + place;
        const auto node =
            adapter.Hb_adapter_num / static_cast<uint32_t>(global_config_tbl.Hb_adapters_per_node);
        if (node < static_cast<uint32_t>(nodes) && global_node_tbl[node] == Hb_False) {
            global_node_tbl[node] = Hb_True;
            ++global_num_nodes;
        }
    }
    global_config_tbl.is_consecutive = is_consecutive;
}
