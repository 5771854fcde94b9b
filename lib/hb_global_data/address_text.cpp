#include "lib/hb_global_data/address_text.h"

#include <arpa/inet.h>

#include <cstring>

static bool is_mapped_ipv4(const Hb_IP_address6 &addr) {
    const uint32_t *filler = addr.v4_in_v6.filler;
    return filler[0] == 0 && filler[1] == 0 && filler[2] == htonl(0xFFFF);
}

char *wisplib_ntop(Hb_IP_address6 *addr, char *buf) {
    if (is_mapped_ipv4(*addr)) {
        if (inet_ntop(AF_INET, &addr->v4_in_v6.v4_in_v6_ipv4, buf, INET_ADDRSTRLEN) == nullptr) {
            std::strcpy(buf, "bad address 4");
        }
    } else if (inet_ntop(AF_INET6, &addr->i6_ipv6, buf, INET6_ADDRSTRLEN) == nullptr) {
        std::strcpy(buf, "bad address 6");
    }
    return buf;
}
