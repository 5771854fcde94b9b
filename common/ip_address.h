// SPDX-License-Identifier: Apache-2.0
// Conversion between addresses and their text: 16 bytes in network order, IPv4 behind the ::ffff:0:0/96 prefix.
//
// Works with every 16-byte address type: the public one and the one of the cluster service.
#pragma once

#include <array>
#include <bit>
#include <optional>
#include <string>

namespace common {

using Ipv4_Bytes = std::array<unsigned char, 4>;
using Address_Bytes = std::array<unsigned char, 16>;

// Returns an empty optional when the text is not an address of that kind.
std::optional<Ipv4_Bytes> parse_ipv4_bytes(const std::string &text);
std::optional<Address_Bytes> parse_address_bytes(const std::string &text); // IPv4 or IPv6

// Returns the text of an address; an IPv4 address is printed without its prefix.
std::string bytes_text(const Address_Bytes &address);

template <typename Address> std::optional<Address> parse_ipv4(const std::string &text) {
    const std::optional<Ipv4_Bytes> bytes = parse_ipv4_bytes(text);
    return bytes ? std::optional(std::bit_cast<Address>(*bytes)) : std::nullopt;
}

template <typename Address> std::optional<Address> parse_address(const std::string &text) {
    const std::optional<Address_Bytes> bytes = parse_address_bytes(text);
    return bytes ? std::optional(std::bit_cast<Address>(*bytes)) : std::nullopt;
}

template <typename Address> std::string address_text(const Address &address) {
    return bytes_text(std::bit_cast<Address_Bytes>(address));
}

} // namespace common
