// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <utility>
#include <vector>

#include "hb_client.h"
#include "tests/system/reading.h"

namespace hb_test {
namespace {

constexpr int ASK_EVERY = 16;

struct Route {
    Hb_Route hops{};
    uint16_t length = 0;
};

// Each link's network with the nodes at its two ends; a network without IP leaves no addresses.
struct Link {
    int network;
    int from;
    int to;
};

void put(Route &route, int network, int node) {
    constexpr int WITHOUT_IP = 9;
    auto *bytes = reinterpret_cast<unsigned char *>(&route.hops.sr_address[route.length++]);
    if (network != WITHOUT_IP) {
        const unsigned char address[16] = {0,   0,
                                           0,   0,
                                           0,   0,
                                           0,   0,
                                           0,   0,
                                           255, 255,
                                           10,  static_cast<unsigned char>(network),
                                           0,   static_cast<unsigned char>(node + 1)};
        std::memcpy(bytes, address, sizeof address);
    }
}

Route over(const std::vector<Link> &links) {
    Route route;
    for (const Link &link : links) {
        put(route, link.network, link.from);
        put(route, link.network, link.to);
    }
    return route;
}

const Route &long_way_to_8() {
    static const Route route = over({{0, 0, 1}, {2, 1, 2}, {4, 2, 3}, {6, 3, 4}, {8, 4, 8}});
    return route;
}
const Route &short_way_to_8() {
    static const Route route = over({{1, 0, 5}, {3, 5, 6}, {5, 6, 7}, {7, 7, 8}});
    return route;
}
const Route &long_way_to_9() {
    static const Route route = over({{0, 0, 1}, {2, 1, 2}, {4, 2, 3}, {6, 3, 4}, {9, 4, 9}});
    return route;
}
const Route &short_way_to_9() {
    static const Route route = over({{1, 0, 5}, {3, 5, 6}, {5, 6, 7}, {7, 7, 9}});
    return route;
}
const Route &way_to_7() {
    static const Route route = over({{1, 0, 5}, {3, 5, 6}, {5, 6, 7}});
    return route;
}

bool same(const Route &a, const Route &b) {
    return a.length == b.length && std::memcmp(&a.hops, &b.hops, sizeof a.hops) == 0;
}

using Entry = Hb_Rc (*)(Hb_Node_Number, Hb_Route *, uint16_t *);

// The permitted results: one of the routes, or the error number (0: an error is not permitted).
struct Allowed {
    const char *what;
    Entry entry;
    Hb_Node_Number node;
    std::vector<Route> routes;
    int error;
};

std::string bytes_text(const Route &route) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text = std::to_string(route.length) + " hops ";
    const auto *bytes = reinterpret_cast<const unsigned char *>(&route.hops);
    for (std::size_t i = 0; i < sizeof route.hops; ++i) {
        text += {DIGITS[bytes[i] / 16], DIGITS[bytes[i] % 16]};
    }
    return text;
}

// The state is the route's length.
Reading look_at(const Allowed &allowed) {
    Route found;
    std::memset(&found.hops, 0xEE, sizeof found.hops);
    const std::string where = allowed.what + (" of node " + std::to_string(allowed.node)) + ": ";
    if (allowed.entry(allowed.node, &found.hops, &found.length) != Hb_Success) {
        const int error = hb_get_errno();
        return error == allowed.error
                   ? Reading{Reading::Kind::whole, 0, ""}
                   : Reading{Reading::Kind::failed, 0, where + "error " + std::to_string(error)};
    }
    for (const Route &route : allowed.routes) {
        if (same(route, found)) {
            return {Reading::Kind::whole, found.length, ""};
        }
    }
    return {Reading::Kind::torn, 0, where + bytes_text(found)};
}

} // namespace

Look routes_look() {
    const std::vector<Allowed> every_time = {
        {"hb_read_route", hb_read_route, 9, {long_way_to_9(), short_way_to_9()}, 0},
        {"hb_read_ip_route", hb_read_ip_route, 9, {short_way_to_9()}, 49},
        {"hb_read_route", hb_read_route, 7, {way_to_7()}, 6},
        {"hb_read_ip_route", hb_read_ip_route, 8, {long_way_to_8(), short_way_to_8()}, 0},
        {"hb_read_route", hb_read_route, 8, {long_way_to_8(), short_way_to_8()}, 0},
    };
    const Allowed asked = {"hb_get_route", hb_get_route, 8, {long_way_to_8(), short_way_to_8()}, 0};
    return [=, looks = 0]() mutable {
        Reading reading;
        if (++looks % ASK_EVERY == 0) {
            reading = look_at(asked);
        }
        for (const Allowed &allowed : every_time) {
            if (reading.kind == Reading::Kind::whole) {
                reading = look_at(allowed);
            }
        }
        return reading;
    };
}

} // namespace hb_test
