// SPDX-License-Identifier: Apache-2.0
// Addresses as text, for every program outside the library.
#include <gtest/gtest.h>

#include "common/ip_address.h"

namespace {

using common::Address_Bytes;
using common::Ipv4_Bytes;

constexpr Address_Bytes MAPPED = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 1, 0, 3};
constexpr Address_Bytes LINK_LOCAL = {0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};

TEST(IpAddress, Ipv4StandsBehindItsPrefix) {
    EXPECT_EQ(common::parse_address_bytes("10.1.0.3"), MAPPED);
    EXPECT_EQ(common::parse_address_bytes("::ffff:10.1.0.3"), MAPPED);
    EXPECT_EQ(common::bytes_text(MAPPED), "10.1.0.3");
    EXPECT_EQ(common::parse_ipv4_bytes("10.1.0.3"), (Ipv4_Bytes{10, 1, 0, 3}));
}

TEST(IpAddress, Ipv6IsReadAndPrinted) {
    EXPECT_EQ(common::parse_address_bytes("fe80::1"), LINK_LOCAL);
    EXPECT_EQ(common::bytes_text(LINK_LOCAL), "fe80::1");
    EXPECT_EQ(common::bytes_text({}), "::");
    EXPECT_FALSE(common::parse_ipv4_bytes("fe80::1"));
}

TEST(IpAddress, AnythingElseIsNone) {
    for (const char *text : {"", "none", "10.1.0", "10.1.0.256", "10.1.0.3 ", "fe80::1%eth0", "fe80:::1"}) {
        EXPECT_FALSE(common::parse_address_bytes(text)) << text;
        EXPECT_FALSE(common::parse_ipv4_bytes(text)) << text;
    }
}

TEST(IpAddress, EveryTypeOfSixteenBytesCanHoldOne) {
    struct Other {
        unsigned char bytes[16];
    };
    const auto other = common::parse_address<Other>("10.1.0.3");
    ASSERT_TRUE(other);
    EXPECT_EQ(other->bytes[15], 3);
    EXPECT_EQ(common::address_text(*other), "10.1.0.3");
}

} // namespace
