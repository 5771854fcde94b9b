// SPDX-License-Identifier: Apache-2.0
#include "lib/base/address_text.h"

#include <arpa/inet.h>
#include <cstring>

namespace {

char *address_text(const void *address, char *buf) {
    uint32_t words[4];
    std::memcpy(words, address, sizeof words);
    if (words[0] == 0 && words[1] == 0 && words[2] == htonl(0xFFFF)) {
        if (inet_ntop(AF_INET, &words[3], buf, INET_ADDRSTRLEN) == nullptr) {
            std::strcpy(buf, "bad address 4");
        }
    } else if (inet_ntop(AF_INET6, words, buf, INET6_ADDRSTRLEN) == nullptr) {
        std::strcpy(buf, "bad address 6");
    }
    return buf;
}

} // namespace

char *wisplib_ntop(Hb_IP_address6 *addr, char *buf) {
    return address_text(addr, buf);
}

char *MOX_ntop(qz_mox_IP_address6_t *addr, char *buf) {
    return address_text(addr, buf);
}
