// Adapter addresses: 16 bytes in network order, IPv4 behind the ::ffff:0:0/96 prefix.
#ifndef WISPD_ADDRESS_H
#define WISPD_ADDRESS_H

#include <cstddef>
#include <optional>
#include <string>

#include "hb_client.h"

namespace wispd {

// An IPv4 or IPv6 address from its usual text; empty when it is neither.
std::optional<Hb_IP_address6> parse_address(const std::string &text);

std::string address_text(const Hb_IP_address6 &address);

bool same_address(const Hb_IP_address6 &a, const Hb_IP_address6 &b);

struct Address_Hash {
    std::size_t operator()(const Hb_IP_address6 &address) const;
};

struct Address_Equal {
    bool operator()(const Hb_IP_address6 &a, const Hb_IP_address6 &b) const { return same_address(a, b); }
};

} // namespace wispd

#endif
