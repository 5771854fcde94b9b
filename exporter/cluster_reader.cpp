// SPDX-License-Identifier: Apache-2.0
#include "exporter/cluster_reader.h"

#include <algorithm>
#include <unordered_map>

#include "common/ip_address.h"
#include "common/printable.h"
#include "hb_client.h"

namespace exporter {
namespace {

// Appends each item of a first/next pair. Returns false if the iteration fails.
template <typename Item, typename First, typename Next>
bool list(std::vector<Item> &items, First first, Next next) {
    Item item{};
    Hb_Cursor cursor = 0;
    Hb_Rc result = first(&item, &cursor);
    while (result == Hb_Success) {
        items.push_back(item);
        result = next(&item, &cursor);
    }
    return hb_get_errno() == HB_ERROR_NO_MORE;
}

using Network_Of = std::unordered_map<std::uint32_t, int>;

bool read_network(Hb_Network_Number number, Cluster &cluster, Network_Of &network_of) {
    Hb_Network_Name name{};
    Hb_Network_Type type{};
    std::vector<Hb_Adapter_Number> adapters;
    const auto first = [number](Hb_Adapter_Number *adapter, Hb_Cursor *cursor) {
        return hb_get_first_configured_adapter_in_network(number, adapter, cursor);
    };
    const auto next = [number](Hb_Adapter_Number *adapter, Hb_Cursor *cursor) {
        return hb_get_next_configured_adapter_in_network(number, adapter, cursor);
    };
    if (hb_get_network_name_by_number(number, name) != Hb_Success ||
        hb_get_network_type_by_number(number, type) != Hb_Success || !list(adapters, first, next)) {
        return false;
    }
    cluster.networks.push_back({number, terminal::printable(name), terminal::printable(type)});
    for (const Hb_Adapter_Number adapter : adapters) {
        network_of[adapter] = number;
    }
    return true;
}

bool read_adapter(Hb_Adapter_Number number, const Network_Of &network_of, Cluster &cluster) {
    Hb_Node_Number node = -1;
    Hb_Adapter_Type type{};
    Hb_IP_address6 address{};
    if (hb_get_node_number_by_adapter_number(number, &node) != Hb_Success ||
        hb_get_adapter_type_by_number(number, type) != Hb_Success ||
        hb_get_adapter_address_by_number(number, &address) != Hb_Success) {
        return false;
    }
    const auto network = network_of.find(number);
    cluster.adapters.push_back({number, node, network == network_of.end() ? -1 : network->second,
                                terminal::printable(type), common::address_text(address)});
    return true;
}

} // namespace

std::shared_ptr<const Cluster> read_cluster() {
    const auto cluster = std::make_shared<Cluster>();
    std::vector<Hb_Node_Number> nodes;
    std::vector<Hb_Network_Number> networks;
    std::vector<Hb_Adapter_Number> adapters;
    if (!list(nodes, hb_get_first_configured_node_number, hb_get_next_configured_node_number) ||
        !list(networks, hb_get_first_configured_network_number, hb_get_next_configured_network_number) ||
        !list(adapters, hb_get_first_configured_adapter_number, hb_get_next_configured_adapter_number)) {
        return nullptr;
    }
    Hb_Node_Number local_node = -1;
    if (hb_get_my_node_number(&local_node) != Hb_Success) {
        return nullptr;
    }
    cluster->local_node = local_node;
    cluster->nodes.assign(nodes.begin(), nodes.end());
    Network_Of network_of;
    for (const Hb_Network_Number network : networks) {
        if (!read_network(network, *cluster, network_of)) {
            return nullptr;
        }
    }
    std::sort(adapters.begin(), adapters.end());
    cluster->adapters.reserve(adapters.size());
    for (const Hb_Adapter_Number adapter : adapters) {
        if (!read_adapter(adapter, network_of, *cluster)) {
            return nullptr;
        }
    }
    return cluster;
}

} // namespace exporter
