// SPDX-License-Identifier: Apache-2.0
// Adapter addresses: 16 bytes in network order, IPv4 behind the ::ffff:0:0/96 prefix.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "hb_client.h"

namespace wispd {

// Parses an IPv4 or IPv6 address; returns an empty optional when the text is neither.
std::optional<Hb_IP_address6> parse_address(const std::string &text);

// Returns the address as text, or "none" when all bytes are zero.
std::string address_text(const Hb_IP_address6 &address);

// Returns false when all bytes are zero, which means that there is no address.
bool is_address(const Hb_IP_address6 &address);

Hb_IP_address6 mapped(Hb_IP_address4 address);

// Returns whether an interface can own the address: not zero, loopback, multicast, reserved or broadcast.
bool fits_interface(Hb_IP_address4 address);

bool same_address(const Hb_IP_address6 &a, const Hb_IP_address6 &b);

struct Address_Hash {
    std::size_t operator()(const Hb_IP_address6 &address) const;
};

struct Address_Equal {
    bool operator()(const Hb_IP_address6 &a, const Hb_IP_address6 &b) const { return same_address(a, b); }
};

} // namespace wispd
