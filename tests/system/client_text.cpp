// SPDX-License-Identifier: Apache-2.0
#include "tests/system/client_text.h"

#include <arpa/inet.h>
#include <array>
#include <cstdio>

namespace hb_test {

void say(const std::string &line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

std::string number(long long value) {
    return std::to_string(value);
}

void say_failure(const std::string &doing) {
    say("failed " + doing + " " + number(hb_get_errno()));
}

void report(Hb_Rc result, const std::string &doing, const std::string &done) {
    if (result == Hb_Success) {
        say(done);
    } else {
        say_failure(doing);
    }
}

std::string address_text(const Hb_IP_address6 &address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    const bool is_ipv4 = IN6_IS_ADDR_V4MAPPED(&address.i6_ipv6);
    const void *bytes = is_ipv4 ? static_cast<const void *>(&address.v4_in_v6.v4_in_v6_ipv4) : &address.i6_ipv6;
    inet_ntop(is_ipv4 ? AF_INET : AF_INET6, bytes, text.data(), text.size());
    return text.data();
}

} // namespace hb_test
