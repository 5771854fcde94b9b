// SPDX-License-Identifier: Apache-2.0
// The records of the daemon's stream socket, built byte by byte.
#pragma once

#include <string>
#include <vector>

#include "tests/support/bytes.h"

namespace hb_test {

// A record on the wire: the length and then the payload.
Bytes frame(const Bytes &payload);

// ---- Daemon to client ----

// The 108-byte header of a reply or event.
struct Reply_Header {
    int kind = 0;
    int64_t leader[2] = {0, 0};
    int64_t group_id[2] = {0, 0};
    int64_t group_status = 0;
    std::string subscription_name;
    int64_t value = 0;
    std::string ffdc_id;
    int64_t sequence = 0;
};
Bytes reply(const Reply_Header &header, const Bytes &body);
// A record of this kind; every other header field is zero.
Bytes reply(int kind, const Bytes &body = {});

struct Adapter_Facts {
    int64_t number = 0;
    int network = 0;
    Bytes address; // 16 bytes
    std::string type = "eth";
    int64_t state = 1;
};
struct Network_Facts {
    std::string name;
    std::string type = "ether";
};
struct Cluster_Facts {
    int local_node = 1;
    int64_t max_nodes = 8;
    int64_t adapters_per_node = 2;
    std::vector<Adapter_Facts> adapters;
    std::vector<Network_Facts> networks;
};

// a.b.c.d in IPv6 form: two words of zero, 0000ffff, and the address.
Bytes ipv4(unsigned a, unsigned b, unsigned c, unsigned d);
Bytes ipv6(const std::string &text);
Bytes adapter_entry(const Adapter_Facts &adapter); // 64 bytes
Bytes network_entry(const Network_Facts &network); // 86 bytes
// The body of a configuration message.
Bytes snapshot(const Cluster_Facts &cluster);

// A small cluster: nodes 1, 2 and 4 of 8, two adapter slots a node, networks "net_a" and "net_b"; adapters
// 2, 3, 4, 5 and 8 with the addresses 10.1.0.1, 10.2.0.1, 10.1.0.2, 10.2.0.2 and 10.1.0.4.
Cluster_Facts small_cluster();

// ---- Client to daemon ----

// The payload of a request: the 76-byte header and the body.
Bytes request(int kind, int64_t pid, const Bytes &message = {});

} // namespace hb_test
