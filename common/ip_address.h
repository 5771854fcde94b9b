// Addresses as people write them: 16 bytes in network order, IPv4 behind the ::ffff:0:0/96 prefix.
//
// Every type of 16 bytes that holds an address can be used: the public one and that of the cluster service.
#pragma once

#include <array>
#include <bit>
#include <optional>
#include <string>

namespace common {

using Ipv4_Bytes = std::array<unsigned char, 4>;
using Address_Bytes = std::array<unsigned char, 16>;

// Empty for anything other than an address of that kind.
std::optional<Ipv4_Bytes> parse_ipv4_bytes(const std::string &text);
std::optional<Address_Bytes> parse_address_bytes(const std::string &text); // IPv4 or IPv6

// An IPv4 address without its prefix.
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
