// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "cluster_fixture.h"
#include "lib/base/address_text.h"

namespace {

std::string text_of(Hb_IP_address6 address) {
    char buffer[46];
    EXPECT_EQ(wisplib_ntop(&address, buffer), buffer);
    return buffer;
}

TEST(Address_Text, AMappedAddressIsDotted) {
    EXPECT_EQ(text_of(mapped(10, 1, 2, 3)), "10.1.2.3");
    EXPECT_EQ(text_of(mapped(255, 255, 255, 255)), "255.255.255.255");
    EXPECT_EQ(text_of(mapped(0, 0, 0, 0)), "0.0.0.0");
}

TEST(Address_Text, OtherAddressesAreIPv6Text) {
    EXPECT_EQ(text_of(address_of({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1})), "::1");
    EXPECT_EQ(text_of(address_of({0xFE, 0x80, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0xFF, 0xFE, 0, 0, 0x12})),
              "fe80::200:ff:fe00:12");
    EXPECT_EQ(text_of(address_of(std::vector<unsigned>(16, 0xFF))), "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
}

TEST(Address_Text, TheMarkerCountsInTheThirdWordBehindTwoZeroWordsOnly) {
    EXPECT_EQ(text_of(address_of({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF})), "::ffff");
    EXPECT_EQ(text_of(address_of({0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 1, 2, 3})), "1::ffff:a01:203");
    EXPECT_EQ(text_of(address_of({0, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0xFF, 0xFF, 10, 1, 2, 3})),
              "::1:1:0:ffff:a01:203");
    EXPECT_EQ(text_of(address_of({0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0xFF, 0xFF, 10, 1, 2, 3})), "::1:ffff:a01:203");
}

} // namespace
