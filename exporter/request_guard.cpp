// SPDX-License-Identifier: Apache-2.0
#include "exporter/request_guard.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>

namespace exporter {
namespace {

constexpr unsigned LOOPBACK_NET = 127;
constexpr unsigned NET_SHIFT = 24;

bool is_loopback_ipv4(const std::string &host) {
    in_addr address{};
    return inet_pton(AF_INET, host.c_str(), &address) == 1 &&
           ntohl(address.s_addr) >> NET_SHIFT == LOOPBACK_NET;
}

bool is_loopback_ipv6(const std::string &host) {
    in6_addr address{};
    return inet_pton(AF_INET6, host.c_str(), &address) == 1 && IN6_IS_ADDR_LOOPBACK(&address);
}

std::string in_lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool is_port(const std::string &text) {
    return text.empty() ||
           (text.front() == ':' && text.size() > 1 &&
            std::all_of(text.begin() + 1, text.end(), [](char c) { return c >= '0' && c <= '9'; }));
}

} // namespace

bool is_loopback_address(const std::string &host) {
    return is_loopback_ipv4(host) || is_loopback_ipv6(host) || in_lower_case(host) == "localhost";
}

bool names_loopback(const std::string &host_header) {
    if (!host_header.empty() && host_header.front() == '[') {
        const std::size_t end = host_header.find(']');
        return end != std::string::npos && is_port(host_header.substr(end + 1)) &&
               is_loopback_ipv6(host_header.substr(1, end - 1));
    }
    const std::size_t colon = std::min(host_header.find(':'), host_header.size());
    const std::string host = host_header.substr(0, colon);
    return is_port(host_header.substr(colon)) && (is_loopback_ipv4(host) || in_lower_case(host) == "localhost");
}

} // namespace exporter
