// SPDX-License-Identifier: Apache-2.0
#include "cluster/address.h"

#include <arpa/inet.h>
#include <cstring>
#include <functional>
#include <string_view>

#include "common/ip_address.h"

namespace wispd {

std::optional<Hb_IP_address6> parse_address(const std::string &text) {
    return common::parse_address<Hb_IP_address6>(text);
}

Hb_IP_address6 mapped(Hb_IP_address4 address) {
    Hb_IP_address6 result{};
    result.v4_in_v6.filler[2] = htonl(0xFFFF);
    result.v4_in_v6.v4_in_v6_ipv4 = address.s_addr;
    return result;
}

bool is_address(const Hb_IP_address6 &address) {
    return !same_address(address, Hb_IP_address6{});
}

bool fits_interface(Hb_IP_address4 address) {
    constexpr uint32_t this_network = 0;
    constexpr uint32_t loopback = 127;
    constexpr uint32_t first_multicast = 224; // from here on: multicast, reserved, broadcast
    const uint32_t first_octet = ntohl(address.s_addr) >> 24;
    return first_octet != this_network && first_octet != loopback && first_octet < first_multicast;
}

std::string address_text(const Hb_IP_address6 &address) {
    return is_address(address) ? common::address_text(address) : "none";
}

bool same_address(const Hb_IP_address6 &a, const Hb_IP_address6 &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

std::size_t Address_Hash::operator()(const Hb_IP_address6 &address) const {
    char bytes[sizeof address];
    std::memcpy(bytes, &address, sizeof address);
    return std::hash<std::string_view>()(std::string_view(bytes, sizeof bytes));
}

} // namespace wispd
