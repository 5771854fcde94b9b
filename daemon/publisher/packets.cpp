// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/packets.h"

#include <cstring>

namespace wispd {

namespace {

template <typename Value> void put(char *at, std::size_t offset, const Value &value) {
    std::memcpy(at + offset, &value, sizeof value);
}

// Copies the value into a zeroed field. The rest of the field, and at least its last byte, stays zero.
void put_text(char *at, std::size_t size, std::string_view value) {
    value.copy(at, size - 1);
}

template <typename Value> void append(std::vector<char> &out, const Value &value) {
    const std::size_t end = out.size();
    out.resize(end + sizeof value);
    put(out.data(), end, value);
}

Hb_Adapter_Entry entry_of(const Adapter &adapter, std::size_t number, int adapters_per_node) {
    Hb_Adapter_Entry entry{};
    entry.Hb_ip_address = adapter.address;
    entry.Hb_network = static_cast<Hb_Network_Number>(number % static_cast<std::size_t>(adapters_per_node));
    put_text(entry.Hb_adapter_type, sizeof entry.Hb_adapter_type, adapter.type);
    entry.Hb_adapter_num = static_cast<Hb_Adapter_Number>(number);
    entry.Hb_state = adapter.up ? Hb_Entity_Up : Hb_Entity_Down;
    return entry;
}

Body share(std::vector<char> bytes) {
    return std::make_shared<const std::vector<char>>(std::move(bytes));
}

} // namespace

Packet_Head encode_head(const Packet &packet, std::size_t body_size) {
    Packet_Head head{};
    put(head.data(), 0, static_cast<int32_t>(HB_REPLY_HEADER_SIZE + body_size));
    char *at = head.data() + 4;
    put(at, offsetof(client_packet, kind), static_cast<int32_t>(packet.kind));
    put(at, offsetof(client_packet, leader_id), packet.leader);
    put(at, offsetof(client_packet, group_id), packet.leader);
    put(at, offsetof(client_packet, group_id) + 4, packet.group_incarnation);
    put(at, offsetof(client_packet, group_status), packet.status);
    put_text(at + offsetof(client_packet, subscription_name), HB_NAME_SIZE, packet.subscription);
    put(at, offsetof(client_packet, value), packet.value);
    put_text(at + offsetof(client_packet, ffdc_id), HB_FFDC_ID_SIZE, packet.failure_id);
    put(at, offsetof(client_packet, notification_sequence_no), packet.sequence);
    return head;
}

Body encode_snapshot(const Cluster &cluster) {
    Hb_Snapshot_Header header{};
    header.local_node_number = cluster.local_node();
    header.Hb_max_nodes = cluster.max_nodes();
    header.Hb_adapters_per_node = cluster.adapters_per_node();
    header.Hb_num_adapters = cluster.configured_adapters();
    header.Hb_num_networks = static_cast<int32_t>(cluster.networks().size());
    std::vector<char> out;
    out.reserve(sizeof header + static_cast<std::size_t>(header.Hb_num_adapters) * sizeof(Hb_Adapter_Entry) +
                cluster.networks().size() * sizeof(Hb_Network_Entry));
    append(out, header);
    const std::vector<Adapter> &adapters = cluster.adapters();
    for (std::size_t number = 0; number < adapters.size(); ++number) {
        if (adapters[number].configured) {
            append(out, entry_of(adapters[number], number, cluster.adapters_per_node()));
        }
    }
    for (const Network &network : cluster.networks()) {
        Hb_Network_Entry entry{};
        put_text(entry.Hb_network_name, sizeof entry.Hb_network_name, network.name);
        put_text(entry.Hb_network_type, sizeof entry.Hb_network_type, network.type);
        append(out, entry);
    }
    return share(std::move(out));
}

Body encode_adapter_members(std::span<const Adapter_Member> members) {
    std::vector<char> out;
    out.reserve(4 + members.size() * sizeof(Hb_Adapter_Event_Pair));
    append(out, static_cast<int32_t>(members.size()) - 1);
    for (const Adapter_Member &member : members) {
        append(out, Hb_Adapter_Event_Pair{member.number, member.incarnation});
    }
    return share(std::move(out));
}

Body encode_node_members(std::span<const Hb_Node_Number> members, int node_slots) {
    std::vector<char> out(static_cast<std::size_t>(node_slots) * sizeof(int32_t));
    for (Hb_Node_Number member : members) {
        put(out.data(), static_cast<std::size_t>(member) * sizeof(int32_t), int32_t{1});
    }
    return share(std::move(out));
}

Body encode_heartbeat(const Heartbeat &settings, int32_t daemon_pid) {
    std::vector<char> out;
    append(out, Hb_Heartbeat_Body{settings.threshold_seconds, settings.threshold_microseconds,
                                  settings.enabled ? Hb_True : Hb_False, daemon_pid});
    return share(std::move(out));
}

Body encode_foreign_instance(const Foreign_Instance &foreign) {
    std::vector<char> out;
    append(out, diff_instance_info{foreign.sender, foreign.instance});
    return share(std::move(out));
}

Body encode_route(const Node_Route &route) {
    std::vector<char> out;
    append(out, route.hops);
    return share(std::move(out));
}

Body encode_adapter_state(int32_t state) {
    std::vector<char> out;
    append(out, state);
    return share(std::move(out));
}

Body empty_body() {
    static const Body body = std::make_shared<const std::vector<char>>();
    return body;
}

} // namespace wispd
