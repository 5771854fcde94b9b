#include "cluster/address.h"

#include <arpa/inet.h>
#include <cstring>
#include <functional>
#include <string_view>

namespace wispd {

std::optional<Hb_IP_address6> parse_address(const std::string &text) {
    Hb_IP_address6 address{};
    in_addr four{};
    if (inet_pton(AF_INET, text.c_str(), &four) == 1) {
        return mapped(four);
    }
    if (inet_pton(AF_INET6, text.c_str(), &address.i6_ipv6) == 1) {
        return address;
    }
    return std::nullopt;
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
    constexpr uint32_t first_multicast = 224; // from there on: groups, reserved, broadcast
    const uint32_t first_octet = ntohl(address.s_addr) >> 24;
    return first_octet != this_network && first_octet != loopback && first_octet < first_multicast;
}

std::string address_text(const Hb_IP_address6 &address) {
    if (!is_address(address)) {
        return "none";
    }
    char buffer[INET6_ADDRSTRLEN] = "";
    if (IN6_IS_ADDR_V4MAPPED(&address.i6_ipv6)) {
        inet_ntop(AF_INET, &address.v4_in_v6.v4_in_v6_ipv4, buffer, sizeof buffer);
    } else {
        inet_ntop(AF_INET6, &address.i6_ipv6, buffer, sizeof buffer);
    }
    return buffer;
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
