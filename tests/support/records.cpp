// SPDX-License-Identifier: Apache-2.0
#include "tests/support/records.h"

#include <arpa/inet.h>
#include <stdexcept>

namespace hb_test {

Bytes frame(const Bytes &payload) {
    return Bytes().i32(static_cast<int64_t>(payload.size())).add(payload);
}

Bytes reply(const Reply_Header &header, const Bytes &body) {
    Bytes record;
    record.i32(header.kind);
    record.i32(header.leader[0]).i32(header.leader[1]);
    record.i32(header.group_id[0]).i32(header.group_id[1]);
    record.i32(header.group_status);
    record.text(header.subscription_name, 32);
    record.i32(header.value);
    record.text(header.ffdc_id, 43).zeros(1);
    record.i32(header.sequence);
    return record.add(body);
}

Bytes reply(int kind, const Bytes &body) {
    Reply_Header header;
    header.kind = kind;
    return reply(header, body);
}

Bytes ipv4(unsigned a, unsigned b, unsigned c, unsigned d) {
    return Bytes().zeros(10).u8(0xFF).u8(0xFF).u8(a).u8(b).u8(c).u8(d);
}

Bytes ipv6(const std::string &text) {
    in6_addr address{};
    if (inet_pton(AF_INET6, text.c_str(), &address) != 1) {
        throw std::invalid_argument("no IPv6 address: " + text);
    }
    return bytes_of(address);
}

Bytes adapter_entry(const Adapter_Facts &adapter) {
    if (adapter.address.size() != 16) {
        throw std::invalid_argument("an adapter's address has 16 bytes");
    }
    Bytes entry;
    entry.add(adapter.address).i16(adapter.network).text(adapter.type, 36).zeros(2);
    return entry.i32(adapter.number).i32(adapter.state);
}

Bytes network_entry(const Network_Facts &network) {
    return Bytes().text(network.name, 70).text(network.type, 16);
}

Bytes snapshot(const Cluster_Facts &cluster) {
    Bytes body;
    body.i16(cluster.local_node).zeros(2);
    body.i32(cluster.max_nodes).i32(cluster.adapters_per_node);
    body.i32(static_cast<int64_t>(cluster.adapters.size()));
    body.i32(static_cast<int64_t>(cluster.networks.size()));
    for (const Adapter_Facts &adapter : cluster.adapters) {
        body.add(adapter_entry(adapter));
    }
    for (const Network_Facts &network : cluster.networks) {
        body.add(network_entry(network));
    }
    return body;
}

Cluster_Facts small_cluster() {
    Cluster_Facts cluster;
    cluster.adapters = {
        {2, 0, ipv4(10, 1, 0, 1), "eth0", 1}, {3, 1, ipv4(10, 2, 0, 1), "eth1", 1},
        {4, 0, ipv4(10, 1, 0, 2), "eth0", 1}, {5, 1, ipv4(10, 2, 0, 2), "eth1", 2},
        {8, 0, ipv4(10, 1, 0, 4), "eth0", 0},
    };
    cluster.networks = {{"net_a", "ether"}, {"net_b", "token"}};
    return cluster;
}

Bytes request(int kind, int64_t pid, const Bytes &message) {
    Bytes record;
    record.zeros(8).i32(kind).i32(static_cast<int64_t>(message.size()));
    record.zeros(48); // version, four group identities, requestor, reserved, status
    record.i32(pid).zeros(8);
    return record.add(message);
}

} // namespace hb_test
