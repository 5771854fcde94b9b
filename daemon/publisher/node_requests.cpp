// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/node_requests.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>

#include "cluster/address.h"
#include "host/text.h"

namespace wispd {

namespace {

constexpr std::size_t INTERFACE_NAME_LONGEST = HB_ADAPTER_TYPE_SIZE - 1;
constexpr int32_t MULTICAST_NODES_MOST = HB_NODE_SLOTS;
constexpr std::size_t MULTICAST_PAYLOAD_LONGEST = 10000;
constexpr int32_t MULTICAST_VERSION = 1;

constexpr Request_Rule RULES[] = {
    {HB_NODE_MAY_BE_DOWN, "node may be down", true, Body_Form::number_as_length, {}, REQUEST_FAILED},
    {HB_NODE_IS_DOWN, "node is down", true, Body_Form::number_as_length, {}, REQUEST_FAILED},
    {HB_ADAPTER_MAY_BE_DOWN, "adapter may be down", true, Body_Form::number_as_length, {}, REQUEST_FAILED},
    {HB_ADAPTER_IS_DOWN, "adapter is down", true, Body_Form::number_as_length, {}, REQUEST_FAILED},
    {HB_ENABLE_ADAPTER, "enable adapter", true, Body_Form::network, {}, REQUEST_FAILED},
    {HB_DISABLE_ADAPTER, "disable adapter", true, Body_Form::network, {}, REQUEST_FAILED},
    {HB_GET_ROUTE, "get route", false, Body_Form::number_as_length, HB_ROUTE, REQUEST_FAILED},
    {HB_IFCONFIG_DOWN, "interface down", true, Body_Form::network, {}, REQUEST_FAILED},
    {HB_IFCONFIG_UP, "interface up", true, Body_Form::network, {}, REQUEST_FAILED},
    {HB_CONFIGURE_ADAPTER, "configure adapter", true, Body_Form::network_and_address, HB_CONFIG_ADAPTER,
     REQUEST_NOT_PERMITTED},
    {HB_UNCONFIGURE_ADAPTER, "unconfigure adapter", true, Body_Form::network, HB_CONFIG_ADAPTER,
     REQUEST_NOT_PERMITTED},
    {HB_ADAPTER_GRACE_REQ, "adapter grace", true, Body_Form::network_and_seconds, HB_ADAPTER_GRACE,
     REQUEST_FAILED},
    {HB_SIMULATE_DEATH, "simulate death", true, Body_Form::seconds, {}, REQUEST_FAILED},
    {HB_SWAP_ADAPTERS, "swap adapters", true, Body_Form::network_and_address, HB_CONFIG_ADAPTER,
     REQUEST_NOT_PERMITTED},
    {HB_DISCARD_STALE_MESSAGES, "discard stale messages", true, Body_Form::nothing, {}, REQUEST_FAILED},
    {HB_DONT_DISCARD_STALE_MESSAGES, "keep stale messages", true, Body_Form::nothing, {}, REQUEST_FAILED},
    {HB_DAEMON_ROUTING_REQUEST, "multicast", true, Body_Form::multicast, {}, REQUEST_FAILED},
    {HB_CLIENT_HEARTBEAT, "client heartbeat", false, Body_Form::sequence, {}, REQUEST_FAILED},
    {HB_GET_ADAPTER_STATE, "get adapter state", false, Body_Form::network, HB_ADAPTER_STATE, REQUEST_FAILED},
    {HB_ENABLE_MANUAL_CONTROL_NIMS, "take manual control", true, Body_Form::name, {}, REQUEST_FAILED},
    {HB_DISABLE_MANUAL_CONTROL_NIMS, "release manual control", true, Body_Form::name, {}, REQUEST_FAILED},
    {HB_DELAYED_DAEMON_SHUTDOWN, "delayed shutdown", true, Body_Form::nothing, {}, REQUEST_FAILED},
};

template <typename Value> Value value_at(std::span<const char> body, std::size_t offset) {
    Value value;
    std::memcpy(&value, body.data() + offset, sizeof value);
    return value;
}

bool has_size(std::span<const char> body, std::size_t size, std::string &fault) {
    if (body.size() != size) {
        fault = text("a body of ", body.size(), " bytes; expected ", size);
    }
    return body.size() == size;
}

bool read_name(std::span<const char> body, std::string &name, std::string &fault) {
    if (body.size() > INTERFACE_NAME_LONGEST) {
        fault = text("an interface name of ", body.size(), " bytes; expected at most ", INTERFACE_NAME_LONGEST);
        return false;
    }
    name.assign(body.begin(), body.end());
    if (!std::all_of(name.begin(), name.end(), [](char c) { return c > 0x20 && c < 0x7F; })) {
        fault = "an interface name with bytes other than letters, digits and signs";
        return false;
    }
    return true;
}

// Numbers, addresses and texts each have one form. This function alone distinguishes all of them.
bool read_fields(Body_Form form, std::span<const char> body, Node_Request &request, std::string &fault) {
    switch (form) {
    case Body_Form::number_as_length:
        request.number = static_cast<int64_t>(body.size());
        return true;
    case Body_Form::network:
        if (!has_size(body, sizeof(Hb_Network_Number), fault)) {
            return false;
        }
        request.number = value_at<Hb_Network_Number>(body, 0);
        return true;
    case Body_Form::network_and_address:
    case Body_Form::network_and_seconds:
        if (!has_size(body, sizeof(Hb_Local_Adapter_Body), fault)) {
            return false;
        }
        request.number = value_at<Hb_Network_Number>(body, offsetof(Hb_Local_Adapter_Body, network));
        if (form == Body_Form::network_and_address) {
            request.address.s_addr = value_at<uint32_t>(body, offsetof(Hb_Local_Adapter_Body, data));
        } else {
            request.seconds = value_at<int32_t>(body, offsetof(Hb_Local_Adapter_Body, data));
        }
        return true;
    case Body_Form::seconds:
        if (!has_size(body, sizeof(int32_t), fault)) {
            return false;
        }
        request.seconds = value_at<int32_t>(body, 0);
        return true;
    case Body_Form::name:
        return read_name(body, request.interface, fault);
    case Body_Form::nothing:
        return has_size(body, 0, fault);
    case Body_Form::sequence:
    case Body_Form::multicast:
        break;
    }
    fault = "a body that does not concern the node";
    return false;
}

bool read_multicast_head(std::span<const char> body, daemon_routing_hdr &head, std::string &fault) {
    if (body.size() < sizeof head) {
        fault = text("a multicast of ", body.size(), " bytes; the header alone has ", sizeof head);
        return false;
    }
    head = value_at<daemon_routing_hdr>(body, 0);
    if (head.daemon_routing_version != MULTICAST_VERSION) {
        fault = text("a multicast of version ", head.daemon_routing_version, "; expected ", MULTICAST_VERSION);
    } else if (head.port_number > UINT16_MAX) {
        fault = text("a multicast to port ", head.port_number, ", which is not a port");
    } else if (head.num_nodes < 1 || head.num_nodes > MULTICAST_NODES_MOST) {
        fault = text("a multicast to ", head.num_nodes, " nodes; expected 1 to ", MULTICAST_NODES_MOST);
    }
    return fault.empty();
}

// Returns the payload, which follows the nodes and its own size.
std::optional<std::span<const char>> payload_behind(std::span<const char> rest, std::size_t nodes,
                                                    std::string &fault) {
    if (rest.size() < 4 * nodes + 4) {
        fault = text("a multicast that ends before its ", nodes, " nodes and the size of its payload");
        return std::nullopt;
    }
    const auto said = static_cast<std::size_t>(value_at<uint32_t>(rest, 4 * nodes));
    const std::span<const char> payload = rest.subspan(4 * nodes + 4);
    if (said > MULTICAST_PAYLOAD_LONGEST || payload.size() != said) {
        fault = text("a multicast that states ", said, " bytes and carries ", payload.size(),
                     "; expected equal sizes of at most ", MULTICAST_PAYLOAD_LONGEST);
        return std::nullopt;
    }
    return payload;
}

bool concerns_adapter(Hb_Client_Request kind) {
    return kind == HB_ADAPTER_MAY_BE_DOWN || kind == HB_ADAPTER_IS_DOWN;
}

std::string arguments_of(const Request_Rule &rule, const Node_Request &request) {
    switch (rule.form) {
    case Body_Form::number_as_length:
        return text(concerns_adapter(rule.kind) ? "adapter " : "node ", request.number);
    case Body_Form::network:
        return text("network ", request.number);
    case Body_Form::network_and_address:
        return text("network ", request.number, ", address ", address_text(mapped(request.address)));
    case Body_Form::network_and_seconds:
        return text("network ", request.number, ", ", request.seconds, " s");
    case Body_Form::seconds:
        return text(request.seconds, " s");
    case Body_Form::name:
        return request.interface.empty() ? "all interfaces" : text("interface ", request.interface);
    case Body_Form::sequence:
    case Body_Form::multicast:
    case Body_Form::nothing:
        break;
    }
    return "";
}

std::string arguments_of(const Multicast &multicast) {
    return text("port ", multicast.port, ", ",
                list_of("nodes", {multicast.nodes.begin(), multicast.nodes.end()}));
}

} // namespace

const Request_Rule *rule_of(int32_t kind) {
    for (const Request_Rule &rule : RULES) {
        if (rule.kind == kind) {
            return &rule;
        }
    }
    return nullptr;
}

std::optional<Node_Request> read_node_request(const Request_Rule &rule, std::span<const char> body,
                                              std::string &fault) {
    Node_Request request;
    request.kind = rule.kind;
    if (!read_fields(rule.form, body, request, fault)) {
        return std::nullopt;
    }
    return request;
}

std::optional<uint32_t> read_sequence(std::span<const char> body, std::string &fault) {
    if (!has_size(body, sizeof(uint32_t), fault)) {
        return std::nullopt;
    }
    return value_at<uint32_t>(body, 0);
}

std::optional<Multicast> read_multicast(std::span<const char> body, std::string &fault) {
    daemon_routing_hdr head{};
    if (!read_multicast_head(body, head, fault)) {
        return std::nullopt;
    }
    const auto count = static_cast<std::size_t>(head.num_nodes);
    const std::span<const char> rest = body.subspan(sizeof head);
    const std::optional<std::span<const char>> payload = payload_behind(rest, count, fault);
    if (!payload) {
        return std::nullopt;
    }
    Multicast multicast;
    multicast.port = ntohs(static_cast<uint16_t>(head.port_number));
    multicast.ttl = head.ttl;
    multicast.daemons_only = head.WISP_only_flag != 0;
    for (std::size_t i = 0; i < count; ++i) {
        multicast.nodes.push_back(value_at<int32_t>(rest, 4 * i));
    }
    multicast.payload.assign(payload->begin(), payload->end());
    return multicast;
}

std::string description(const Request_Rule &rule, std::span<const char> body) {
    std::string fault;
    std::string arguments;
    if (rule.form == Body_Form::multicast) {
        const std::optional<Multicast> multicast = read_multicast(body, fault);
        arguments = multicast ? arguments_of(*multicast) : "invalid";
    } else {
        const std::optional<Node_Request> request = read_node_request(rule, body, fault);
        arguments = request ? arguments_of(rule, *request) : "invalid";
    }
    return arguments.empty() ? rule.name : text(rule.name, " (", arguments, ")");
}

} // namespace wispd
