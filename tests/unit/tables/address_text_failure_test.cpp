// SPDX-License-Identifier: Apache-2.0
// Addresses that cannot be converted to text.
#include <arpa/inet.h>

#include <gtest/gtest.h>

#include "lib/base/address_text.h"

namespace {

struct Conversion {
    int family;
    socklen_t size;
};
Conversion asked;

Hb_IP_address6 address_with_third_word(uint32_t word) {
    Hb_IP_address6 address{};
    address.v4_in_v6.filler[2] = word;
    return address;
}

} // namespace

extern "C" __attribute__((visibility("default"))) const char *
__wrap_inet_ntop(int family, const void * /*address*/, char * /*text*/, socklen_t size) {
    asked = {family, size};
    return nullptr;
}

namespace {

TEST(Address_Text_Failure, AMappedAddressIsABadAddress4) {
    Hb_IP_address6 address = address_with_third_word(htonl(0xFFFF));
    char buffer[46] = "as it was";
    EXPECT_EQ(wisplib_ntop(&address, buffer), buffer);
    EXPECT_STREQ(buffer, "bad address 4");
    EXPECT_EQ(asked.family, AF_INET);
    EXPECT_EQ(asked.size, 16U);
}

TEST(Address_Text_Failure, AnyOtherIsABadAddress6) {
    Hb_IP_address6 address = address_with_third_word(0);
    char buffer[46] = "as it was";
    EXPECT_EQ(wisplib_ntop(&address, buffer), buffer);
    EXPECT_STREQ(buffer, "bad address 6");
    EXPECT_EQ(asked.family, AF_INET6);
    EXPECT_EQ(asked.size, 46U);
}

} // namespace
