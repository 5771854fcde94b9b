// SPDX-License-Identifier: Apache-2.0
#include "providers/service/cluster_picture.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace mox_service {
namespace {

using Adapters = std::span<const wispd::Adapter>;

qz_mox_IP_address6_t address_of(const Hb_IP_address6 &from) {
    qz_mox_IP_address6_t address{};
    static_assert(sizeof address == sizeof from);
    std::memcpy(&address, &from, sizeof address);
    return address;
}

} // namespace

std::string interface_name(const wispd::Cluster &cluster, std::size_t adapter) {
    const auto per_node = static_cast<std::size_t>(cluster.adapters_per_node());
    const Adapters of_node = Adapters(cluster.adapters()).subspan(adapter / per_node * per_node, per_node);
    const std::string &type = cluster.adapters()[adapter].type;
    const auto with_type = std::count_if(of_node.begin(), of_node.end(), [&](const wispd::Adapter &other) {
        return other.configured && other.type == type;
    });
    return type.empty() || with_type > 1 ? "net" + std::to_string(adapter % per_node) : type;
}

Picture picture_of(const wispd::Cluster &cluster) {
    Picture picture;
    const auto per_node = static_cast<std::size_t>(cluster.adapters_per_node());
    for (std::size_t number = 0; number < cluster.nodes().size(); ++number) {
        const wispd::Node &node = cluster.nodes()[number];
        if (node.configured_adapters == 0) {
            continue;
        }
        Node seen;
        seen.number = static_cast<uint32_t>(number);
        seen.name = node.name;
        seen.status = node.up ? QZ_MOX_NODE_STATUS_UP : QZ_MOX_NODE_STATUS_DOWN;
        picture.nodes.push_back(seen);
        const Adapters adapters = Adapters(cluster.adapters()).subspan(number * per_node, per_node);
        for (std::size_t network = 0; network < per_node; ++network) {
            if (adapters[network].configured) {
                picture.interfaces.push_back(
                    {seen.number, interface_name(cluster, number * per_node + network),
                     address_of(adapters[network].address),
                     adapters[network].up ? QZ_MOX_INTF_STATUS_UP : QZ_MOX_INTF_STATUS_DOWN});
            }
        }
    }
    return picture;
}

} // namespace mox_service
