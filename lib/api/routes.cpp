// SPDX-License-Identifier: Apache-2.0
#include "lib/api/routes.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sched.h>

#include "lib/api/argument_check.h"
#include "lib/base/error_number.h"
#include "lib/base/int_compare.h"
#include "lib/base/read_once.h"
#include "lib/hb_communication/reply.h"
#include "lib/hb_communication/request.h"
#include "lib/hb_communication/route_section.h"
#include "lib/hb_communication/shared_segments.h"
#include "lib/hb_global_data/configuration_table.h"

namespace {

bool in_range(Hb_Node_Number node) {
    return node >= 0 && node < global_config_tbl.Hb_max_nodes && node < HB_NODE_SLOTS;
}

// This many copies take longer than the daemon needs to write all records. From time to time the reader
// yields, so that an interrupted daemon can finish.
constexpr int COPIES_MOST = 10000;
constexpr int COPIES_BETWEEN_PAUSES = 4000;

// The daemon may be changing the record, so it is read word by word and in order.
Hb_route_sequence copy_of(const Hb_route_sequence &shared) {
    uint32_t words[sizeof shared / sizeof(uint32_t)] = {};
    static_assert(sizeof words == sizeof shared);
    for (std::size_t i = 0; i < std::size(words); ++i) {
        words[i] = hb_read_in_order(reinterpret_cast<const uint32_t *>(&shared)[i]);
    }
    Hb_route_sequence copy;
    std::memcpy(&copy, words, sizeof copy);
    return copy;
}

enum class Copied { whole, none, torn };

// Copies a record that the daemon may be rewriting. The daemon sets the record's generation to 0, changes the
// record, sets its new generation, and finally updates segment 1. A copy is whole when the record's
// generation equals that of segment 1 before and after copying. While segment 1 holds 0 there is no whole
// record.
Copied copy_once(const Hb_route_sequence &shared, Hb_route_sequence &record) {
    const Hb_Sequence_Number before = hb_read_in_order(shared.sequence_number);
    record = copy_of(shared);
    const Hb_Sequence_Number after = hb_read_in_order(shared.sequence_number);
    const Hb_Sequence_Number valid = hb_read_once(data_for_client->sequence_number);
    if (valid == 0) {
        return Copied::none;
    }
    return before == after && after == valid ? Copied::whole : Copied::torn;
}

// Returns false when no copy was whole: there is no route, or the daemon died while it wrote.
bool read_unguarded(const Hb_route_sequence &shared, Hb_route_sequence &record) {
    for (int i = 0; i < COPIES_MOST; ++i) {
        const Copied copied = copy_once(shared, record);
        if (copied != Copied::torn) {
            return copied == Copied::whole;
        }
        if ((i + 1) % COPIES_BETWEEN_PAUSES == 0) {
            sched_yield();
        }
    }
    return false;
}

// Inside the section, a record of another generation than segment 1 is no route. The daemon does write past a
// reader that stays too long, such as a stopped process. Segment 1 has then changed since the reader entered,
// and the reader copies again.
bool read_guarded(const Hb_route_sequence &shared, Hb_route_sequence &record) {
    const Hb_Sequence_Number valid = hb_read_in_order(data_for_client->sequence_number);
    const Copied copied = copy_once(shared, record);
    if (copied == Copied::torn && hb_read_once(data_for_client->sequence_number) != valid) {
        return read_unguarded(shared, record);
    }
    return copied == Copied::whole;
}

// Checks that the route has room for its hops. A caller that trusts a larger number would read past the end.
bool fits(uint32_t hops) {
    return hops <= HB_ROUTE_HOPS;
}

// Copies the node's record. HB_ERROR_NO_ROUTE (6): there is no valid one.
Hb_Rc read_record(Hb_Node_Number node, Hb_route_sequence &record) {
    if (data_for_client == nullptr || shared_route_info == nullptr) {
        return hb_fail(HB_ERROR_NO_ROUTE);
    }
    const Hb_Route_Section section;
    if (static_cast<uint32_t>(node) >= hb_attached_route_slots()) {
        return hb_fail(HB_ERROR_NO_ROUTE);
    }
    const Hb_route_sequence &shared = shared_route_info[node];
    const bool read = section.entered() ? read_guarded(shared, record) : read_unguarded(shared, record);
    return read && fits(record.length) ? Hb_Success : hb_fail(HB_ERROR_NO_ROUTE);
}

enum class Kind { any, ip_only };

// Returns the hops from a reply's body. Hops past the end of the body are zero.
Hb_Route hops_in(const Hb_Packet &packet) {
    Hb_Route hops = {};
    const auto bytes = packet.bytes();
    if (bytes.size() > HB_REPLY_HEADER_SIZE) {
        std::memcpy(&hops, packet.get()->message, std::min(sizeof hops, bytes.size() - HB_REPLY_HEADER_SIZE));
    }
    return hops;
}

Hb_Rc read_route(Hb_Node_Number node, Hb_Route *route, uint16_t *length, Kind kind) {
    if (!hb_ready(route, length)) {
        return Hb_Failure;
    }
    if (!in_range(node)) {
        return hb_fail(HB_ERROR_BAD_ARGUMENT);
    }
    Hb_route_sequence record;
    if (read_record(node, record) != Hb_Success) {
        return Hb_Failure;
    }
    if (kind == Kind::ip_only && record.nonip != 0) {
        return hb_fail(HB_ERROR_ROUTE_NOT_IP);
    }
    *length = record.length;
    *route = record.ip_option;
    return Hb_Success;
}

// Returns whether a node occurs twice. More than two nodes are sorted in place, which callers rely on.
bool has_duplicate(int *nodes, int n) {
    if (n > 2) {
        qsort(nodes, static_cast<std::size_t>(n), sizeof *nodes, int_compare);
    }
    return std::adjacent_find(nodes, nodes + n) != nodes + n;
}

bool buffers_hold(const iovec *iov, int count) {
    return std::all_of(iov, iov + count,
                       [](const iovec &buffer) { return buffer.iov_base != nullptr && buffer.iov_len != 0; });
}

uint64_t total_length(const iovec *iov, int count) {
    uint64_t total = 0;
    for (int i = 0; i < count; ++i) {
        // A length above the limit counts as the limit plus one, so that the sum cannot wrap.
        total += std::min<uint64_t>(iov[i].iov_len, HB_ROUTING_REQUEST_MAX + 1);
    }
    return total;
}

class Routing_Request {
  public:
    void add(const void *bytes, std::size_t length) {
        std::memcpy(bytes_ + length_, bytes, length);
        length_ += length;
    }
    void add_word(uint32_t word) { add(&word, sizeof word); }
    Hb_Rc send() { return hb_send(HB_DAEMON_ROUTING_REQUEST, bytes_, static_cast<int>(length_)); }

  private:
    char bytes_[HB_ROUTING_REQUEST_MAX + 4] = {};
    std::size_t length_ = 0;
};

} // namespace

Hb_Rc hb_get_route(Hb_Node_Number node, Hb_Route *route, uint16_t *length) {
    if (!hb_ready(route, length)) {
        return Hb_Failure;
    }
    if (!in_range(node)) {
        return hb_fail(HB_ERROR_BAD_ARGUMENT);
    }
    if (global_node_tbl[node] == Hb_False) {
        return hb_fail(HB_ERROR_NODE_NOT_CONFIGURED);
    }
    if (!hb_can_await_reply()) {
        return hb_fail(HB_ERROR_RECEIVE_FAILED);
    }
    if (hb_send(HB_GET_ROUTE, nullptr, node) != Hb_Success) {
        return Hb_Failure;
    }
    client_packet *received = nullptr;
    int bytes = 0;
    if (hb_get_reply_from_server(HB_ROUTE, received, nullptr, &bytes) != Hb_Success) {
        return Hb_Failure;
    }
    const Hb_Packet packet(received, bytes);
    const int32_t value = packet.get()->value;
    if (value == 0) {
        return hb_fail(HB_ERROR_NO_ROUTE);
    }
    const auto hops = static_cast<uint16_t>(value & 0xFFFF);
    if (!fits(hops)) {
        return hb_fail(HB_ERROR_UNEXPECTED_REPLY);
    }
    *length = hops;
    *route = hops_in(packet);
    return Hb_Success;
}

Hb_Rc hb_read_route(Hb_Node_Number node, Hb_Route *route, uint16_t *length) {
    return read_route(node, route, length, Kind::any);
}

Hb_Rc hb_read_ip_route(Hb_Node_Number node, Hb_Route *route, uint16_t *length) {
    return read_route(node, route, length, Kind::ip_only);
}

Hb_Rc hb_daemon_route_mcast(const struct iovec *iov, int count, int port, int *nodes, int n) {
    if (hb_init() != Hb_Success) {
        return Hb_Failure;
    }
    if (iov == nullptr || count < 0 || count > HB_ROUTING_BUFFERS_MAX || nodes == nullptr || n < 1 ||
        n > HB_NODE_SLOTS) {
        return hb_fail(HB_ERROR_BAD_ARGUMENT);
    }
    if (has_duplicate(nodes, n) || !buffers_hold(iov, count)) {
        return hb_fail(HB_ERROR_BAD_ARGUMENT);
    }
    const uint64_t payload = total_length(iov, count);
    if (payload > HB_ROUTING_REQUEST_MAX ||
        sizeof(daemon_routing_hdr) + 4 * static_cast<uint64_t>(n) + 4 + payload > HB_ROUTING_REQUEST_MAX) {
        return hb_fail(HB_ERROR_MESSAGE_TOO_LARGE);
    }
    daemon_routing_hdr header = {};
    header.port_number = htons(static_cast<uint16_t>(port & 0xFFFF));
    header.ttl = 20;
    header.daemon_routing_version = 1;
    header.num_nodes = n;
    Routing_Request request;
    request.add(&header, sizeof header);
    request.add(nodes, sizeof *nodes * static_cast<std::size_t>(n));
    request.add_word(static_cast<uint32_t>(payload));
    for (int i = 0; i < count; ++i) {
        request.add(iov[i].iov_base, iov[i].iov_len);
    }
    return request.send();
}
