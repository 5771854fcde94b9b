// SPDX-License-Identifier: Apache-2.0
#include "common/ip_address.h"

#include <algorithm>
#include <arpa/inet.h>

namespace common {

namespace {

constexpr std::array<unsigned char, 12> IPV4_PREFIX = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

bool is_ipv4(const Address_Bytes &address) {
    return std::equal(IPV4_PREFIX.begin(), IPV4_PREFIX.end(), address.begin());
}

} // namespace

std::optional<Ipv4_Bytes> parse_ipv4_bytes(const std::string &text) {
    Ipv4_Bytes bytes{};
    return inet_pton(AF_INET, text.c_str(), bytes.data()) == 1 ? std::optional(bytes) : std::nullopt;
}

std::optional<Address_Bytes> parse_address_bytes(const std::string &text) {
    Address_Bytes address{};
    if (const std::optional<Ipv4_Bytes> ipv4 = parse_ipv4_bytes(text)) {
        const auto host = std::copy(IPV4_PREFIX.begin(), IPV4_PREFIX.end(), address.begin());
        std::copy(ipv4->begin(), ipv4->end(), host);
        return address;
    }
    return inet_pton(AF_INET6, text.c_str(), address.data()) == 1 ? std::optional(address) : std::nullopt;
}

std::string bytes_text(const Address_Bytes &address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (is_ipv4(address)) {
        inet_ntop(AF_INET, address.data() + IPV4_PREFIX.size(), text.data(), text.size());
    } else {
        inet_ntop(AF_INET6, address.data(), text.data(), text.size());
    }
    return text.data();
}

} // namespace common
