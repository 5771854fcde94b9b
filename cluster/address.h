// Adapter addresses: 16 bytes in network order, IPv4 behind the ::ffff:0:0/96 prefix.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "hb_client.h"

namespace wispd {

// An IPv4 or IPv6 address from its usual text; empty when it is neither.
std::optional<Hb_IP_address6> parse_address(const std::string &text);

// "none" for no address.
std::string address_text(const Hb_IP_address6 &address);

// All zero bytes are no address.
bool is_address(const Hb_IP_address6 &address);

Hb_IP_address6 mapped(Hb_IP_address4 address);

// Whether an interface can have it as its own: neither a group's, nor a loopback one, nor none.
bool fits_interface(Hb_IP_address4 address);

bool same_address(const Hb_IP_address6 &a, const Hb_IP_address6 &b);

struct Address_Hash {
    std::size_t operator()(const Hb_IP_address6 &address) const;
};

struct Address_Equal {
    bool operator()(const Hb_IP_address6 &a, const Hb_IP_address6 &b) const { return same_address(a, b); }
};

} // namespace wispd
