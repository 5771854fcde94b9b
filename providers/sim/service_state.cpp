// SPDX-License-Identifier: Apache-2.0
#include "providers/sim/service_state.h"

#include <bit>

#include <nlohmann/json.hpp>

#include "cluster/address.h"

namespace mox_sim {
namespace {

using mox_service::Interface;
using mox_service::Node;
using mox_service::Picture;
using nlohmann::ordered_json;

std::string address_text(const qz_mox_IP_address6_t &from) {
    return wispd::address_text(std::bit_cast<Hb_IP_address6>(from));
}

const char *state_name(bool up) {
    return up ? "up" : "down";
}

ordered_json interfaces_of(const Picture &picture, uint32_t node) {
    ordered_json list = ordered_json::array();
    for (const Interface &interface : picture.interfaces) {
        if (interface.node == node) {
            list.push_back({{"name", interface.name.value_or("")},
                            {"address", address_text(interface.address)},
                            {"state", state_name(interface.status == QZ_MOX_INTF_STATUS_UP)}});
        }
    }
    return list;
}

} // namespace

std::string state_line(const Service_State &state) {
    ordered_json nodes = ordered_json::array();
    for (const Node &node : state.picture.nodes) {
        nodes.push_back({{"number", node.number},
                         {"name", node.name},
                         {"state", state_name(node.status == QZ_MOX_NODE_STATUS_UP)},
                         {"interfaces", interfaces_of(state.picture, node.number)}});
    }
    const ordered_json answer = {
        {"ok", true},
        {"state",
         {{"cluster", state.cluster},
          {"local_node", state.local_node},
          {"nodes", nodes},
          {"monitors_opened", state.monitors_opened},
          {"timeline", {{"events", state.timeline_size}, {"played", state.timeline_played}}}}}};
    return answer.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

} // namespace mox_sim
