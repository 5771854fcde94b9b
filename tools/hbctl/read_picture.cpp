#include "tools/hbctl/read_picture.h"

#include <array>

#include "common/cluster_file.h"
#include "common/ip_address.h"
#include "common/printable.h"
#include "common/socket_path.h"
#include "hb_client.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

// Calls use(item) for each item of a first/next pair. The two calls receive the item and the cursor.
template <typename Item, typename First, typename Next, typename Use>
void for_each_item(const std::string &doing, First first, Next next, Use use) {
    Item item{};
    Hb_Cursor cursor = 0;
    Hb_Rc result = first(&item, &cursor);
    while (result == Hb_Success) {
        use(item);
        result = next(&item, &cursor);
    }
    if (hb_get_errno() != HB_ERROR_NO_MORE) {
        require(result, doing);
    }
}

void read_sites(Picture &picture) {
    for_each_item<Hb_Site_Number>("list the sites", hb_get_first_configured_site_number,
                                  hb_get_next_configured_site_number,
                                  [&](Hb_Site_Number site) { picture.sites.push_back(site); });
}

Node_Row read_node(Hb_Node_Number number, int local_node) {
    Node_Row row;
    row.number = number;
    row.local = number == local_node;
    for_each_item<Hb_Adapter_Number>(
        "list the adapters of node " + std::to_string(number),
        [number](Hb_Adapter_Number *adapter, Hb_Cursor *cursor) {
            return hb_get_first_configured_adapter_in_node(number, adapter, cursor);
        },
        [number](Hb_Adapter_Number *adapter, Hb_Cursor *cursor) {
            return hb_get_next_configured_adapter_in_node(number, adapter, cursor);
        },
        [&row](Hb_Adapter_Number adapter) { row.adapters.push_back(adapter); });
    return row;
}

Network_Row read_network(Hb_Network_Number number) {
    const std::string which = " of network " + std::to_string(number);
    Network_Row row;
    row.number = number;
    Hb_Network_Name name{};
    Hb_Network_Type type{};
    require(hb_get_network_name_by_number(number, name), "read the name" + which);
    require(hb_get_network_type_by_number(number, type), "read the type" + which);
    row.name = terminal::printable(name);
    row.type = terminal::printable(type);
    for_each_item<Hb_Adapter_Number>(
        "list the adapters" + which,
        [number](Hb_Adapter_Number *adapter, Hb_Cursor *cursor) {
            return hb_get_first_configured_adapter_in_network(number, adapter, cursor);
        },
        [number](Hb_Adapter_Number *adapter, Hb_Cursor *cursor) {
            return hb_get_next_configured_adapter_in_network(number, adapter, cursor);
        },
        [&row](Hb_Adapter_Number adapter) { row.adapters.push_back(adapter); });
    return row;
}

Adapter_Row read_adapter(Hb_Adapter_Number number) {
    const std::string which = " of adapter " + std::to_string(number);
    Adapter_Row row;
    row.number = number;
    Hb_Node_Number node = -1;
    Hb_Adapter_Type type{};
    Hb_IP_address6 address{};
    require(hb_get_node_number_by_adapter_number(number, &node), "read the node" + which);
    require(hb_get_adapter_type_by_number(number, type), "read the type" + which);
    require(hb_get_adapter_address_by_number(number, &address), "read the address" + which);
    row.node = node;
    row.type = terminal::printable(type);
    row.address = common::address_text(address);
    return row;
}

void set_networks_of_adapters(Picture &picture) {
    for (const Network_Row &network : picture.networks) {
        for (const std::uint32_t adapter : network.adapters) {
            const auto found = picture.adapter_at.find(adapter);
            if (found != picture.adapter_at.end()) {
                picture.adapters[found->second].network = network.number;
            }
        }
    }
}

void read_names(Picture &picture) {
    const std::string socket = common::socket_path_from_environment();
    set_names(picture, common::read_cluster_file(socket),
              "no names are known: cannot read " + common::cluster_file_path(socket) + ", which wispd writes");
}

} // namespace

Picture read_picture() {
    Picture picture;
    Hb_Node_Number local_node = -1;
    require(hb_get_my_node_number(&local_node), "read the local node's number");
    picture.local_node = local_node;
    for_each_item<Hb_Node_Number>(
        "list the nodes", hb_get_first_configured_node_number, hb_get_next_configured_node_number,
        [&](Hb_Node_Number node) { picture.nodes.push_back(read_node(node, local_node)); });
    for_each_item<Hb_Network_Number>(
        "list the networks", hb_get_first_configured_network_number, hb_get_next_configured_network_number,
        [&](Hb_Network_Number network) { picture.networks.push_back(read_network(network)); });
    for_each_item<Hb_Adapter_Number>(
        "list the adapters", hb_get_first_configured_adapter_number, hb_get_next_configured_adapter_number,
        [&](Hb_Adapter_Number adapter) { picture.adapters.push_back(read_adapter(adapter)); });
    read_sites(picture);
    picture.index();
    set_networks_of_adapters(picture);
    read_names(picture);
    return picture;
}

} // namespace hbctl
