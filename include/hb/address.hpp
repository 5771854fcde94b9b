// SPDX-License-Identifier: Apache-2.0
// hb/address.hpp - hb::address: the IPv4 or IPv6 address of an adapter
#ifndef HB_ADDRESS_HPP
#define HB_ADDRESS_HPP

#include <arpa/inet.h>
#include <cstring>
#include <optional>
#include <string>

#include "hb_client.h"

namespace hb {

class address {
  public:
    // The IPv6 address "::".
    address() noexcept { std::memset(&bytes_, 0, sizeof bytes_); }

    // Holds an address of the C interface.
    explicit address(const Hb_IP_address6 &bytes) noexcept : bytes_(bytes) {}

    // Holds an IPv4 address, in network byte order.
    explicit address(const in_addr &v4) noexcept : address() {
        bytes_.v4_in_v6.filler[2] = htonl(0xFFFF);
        bytes_.v4_in_v6.v4_in_v6_ipv4 = v4.s_addr;
    }

    // Reads an address as people write it: "10.1.0.1", "2001:db8::3". Returns nothing for another text.
    static std::optional<address> parse(const char *text) noexcept {
        in_addr v4 = {};
        if (inet_pton(AF_INET, text, &v4) == 1) {
            return address(v4);
        }
        address v6;
        if (inet_pton(AF_INET6, text, &v6.bytes_.i6_ipv6) == 1) {
            return v6;
        }
        return std::nullopt;
    }
    static std::optional<address> parse(const std::string &text) noexcept { return parse(text.c_str()); }

    bool is_v4() const noexcept {
        return bytes_.v4_in_v6.filler[0] == 0 && bytes_.v4_in_v6.filler[1] == 0 &&
               bytes_.v4_in_v6.filler[2] == htonl(0xFFFF);
    }

    // Returns the IPv4 address in network byte order; nothing if this is an IPv6 address.
    std::optional<in_addr> v4() const noexcept {
        if (!is_v4()) {
            return std::nullopt;
        }
        in_addr found = {};
        found.s_addr = bytes_.v4_in_v6.v4_in_v6_ipv4;
        return found;
    }

    // Returns the address as people write it. An IPv4 address has four numbers: "10.1.0.1".
    std::string to_string() const {
        char text[INET6_ADDRSTRLEN] = "";
        if (is_v4()) {
            inet_ntop(AF_INET, &bytes_.v4_in_v6.v4_in_v6_ipv4, text, sizeof text);
        } else {
            inet_ntop(AF_INET6, &bytes_.i6_ipv6, text, sizeof text);
        }
        return text;
    }

    // Returns the form of the C interface.
    const Hb_IP_address6 &native() const noexcept { return bytes_; }

    friend bool operator==(const address &left, const address &right) noexcept {
        return std::memcmp(&left.bytes_, &right.bytes_, sizeof left.bytes_) == 0;
    }
    friend bool operator!=(const address &left, const address &right) noexcept { return !(left == right); }
    // Orders by the sixteen bytes, for std::set and std::map.
    friend bool operator<(const address &left, const address &right) noexcept {
        return std::memcmp(&left.bytes_, &right.bytes_, sizeof left.bytes_) < 0;
    }

  private:
    Hb_IP_address6 bytes_;
};

} // namespace hb

#endif
