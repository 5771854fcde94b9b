// SPDX-License-Identifier: Apache-2.0
// Encodes the packets for clients.
//
// Bodies are immutable and shared, so that an event for a thousand clients exists once. Only the head depends
// on the subscription and the sequence number.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "cluster/cluster.h"
#include "cluster/routes.h"
#include "lib/wire/hb_wire.h"

namespace wispd {

using Body = std::shared_ptr<const std::vector<char>>;

// The record's length prefix and the packet's header.
inline constexpr std::size_t PACKET_HEAD_SIZE = 4 + HB_REPLY_HEADER_SIZE;
using Packet_Head = std::array<char, PACKET_HEAD_SIZE>;

struct Packet {
    Hb_Client_Reply kind = HB_CONFIGURATION_INFO;
    uint32_t leader = 0;
    uint32_t group_incarnation = 0;
    Hb_Group_Status status = Hb_Group_Stable;
    std::string_view subscription;
    int32_t value = 0;
    std::string_view failure_id;
    Hb_Seq_Num sequence = 0;
};

Packet_Head encode_head(const Packet &packet, std::size_t body_size);

Body encode_snapshot(const Cluster &cluster);
Body encode_adapter_members(std::span<const Adapter_Member> members);
Body encode_node_members(std::span<const Hb_Node_Number> members, int node_slots);
Body encode_heartbeat(const Heartbeat &settings, int32_t daemon_pid);
Body encode_foreign_instance(const Foreign_Instance &foreign);
Body encode_route(const Node_Route &route);
Body encode_adapter_state(int32_t state);
Body empty_body();

} // namespace wispd
