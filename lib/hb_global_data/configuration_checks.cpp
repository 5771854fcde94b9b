// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/configuration_checks.h"

#include <algorithm>

#include "lib/base/error_number.h"

int hb_node_bound() {
    return std::min<int>(global_config_tbl.Hb_max_nodes, HB_NODE_SLOTS);
}

int hb_network_bound() {
    return std::min<int>(global_config_tbl.Hb_adapters_per_node, HB_NETWORK_SLOTS);
}

int hb_site_bound() {
    return std::min(global_config_tbl.Hb_max_sites, HB_SITE_SLOTS);
}

std::span<const Hb_Adapter_Entry> hb_configured_adapters() {
    return hb_adapters_of(global_config_tbl);
}

bool hb_adapter_is_configured(Hb_Adapter_Number adapter) {
    return hb_get_adap_entry(adapter) != &HB_INVALID_ADAP;
}

bool hb_network_is_configured(Hb_Network_Number network) {
    return global_config_tbl.Hb_global_network_list[network].Hb_network_name[0] != '\0';
}

bool hb_check_node_range(Hb_Node_Number node) {
    return (node >= 0 && node < hb_node_bound()) || hb_refuse(HB_ERROR_BAD_ARGUMENT);
}

bool hb_check_node(Hb_Node_Number node) {
    return hb_check_node_range(node) &&
           (global_node_tbl[node] != Hb_False || hb_refuse(HB_ERROR_NODE_NOT_CONFIGURED));
}

bool hb_check_adapter_range(Hb_Adapter_Number adapter) {
    return adapter < hb_adapter_number_bound(global_config_tbl) || hb_refuse(HB_ERROR_BAD_ARGUMENT);
}

bool hb_check_adapter(Hb_Adapter_Number adapter) {
    return hb_check_adapter_range(adapter) &&
           (hb_adapter_is_configured(adapter) || hb_refuse(HB_ERROR_ADAPTER_NOT_CONFIGURED));
}

bool hb_check_network_range(Hb_Network_Number network) {
    return (network >= 0 && network < hb_network_bound()) || hb_refuse(HB_ERROR_BAD_ARGUMENT);
}

bool hb_check_network(Hb_Network_Number network) {
    return hb_check_network_range(network) &&
           (hb_network_is_configured(network) || hb_refuse(HB_ERROR_NETWORK_NOT_CONFIGURED));
}

bool hb_check_site(Hb_Site_Number site) {
    if (site >= hb_site_bound()) {
        return hb_refuse(HB_ERROR_BAD_ARGUMENT);
    }
    return global_site_tbl[site] != Hb_False || hb_refuse(HB_ERROR_SITE_NOT_CONFIGURED);
}
