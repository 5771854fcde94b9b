// SPDX-License-Identifier: Apache-2.0
// The bytes are typed from docs/protocol.md.
#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/watch/watch_parts.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes zeros(std::size_t count) {
    return Bytes(count);
}

Bytes operator+(Bytes one, const Bytes &other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

class Request : public testing::Test {
  protected:
    Bytes sent(std::size_t size) const {
        return {out_.begin(), out_.begin() + static_cast<std::ptrdiff_t>(size)};
    }

    std::array<unsigned char, HBW_REQUEST_LONGEST> out_{};
    static constexpr pid_t PID = 4711;
};

TEST_F(Request, AsksForTheConfiguration) {
    EXPECT_EQ(sent(hbw_ask_configuration(out_.data(), PID)),
              (Bytes{0x4C, 0, 0, 0} + zeros(8) + Bytes{0xC9, 0, 0, 0, 0, 0, 0, 0} + zeros(48) +
               Bytes{0x67, 0x12, 0, 0} + zeros(8)));
}

TEST_F(Request, AsksForARouteWithTheNodeAsLength) {
    EXPECT_EQ(sent(hbw_ask_route(out_.data(), PID, 2)),
              (Bytes{0x4E, 0, 0, 0} + zeros(8) + Bytes{0xD3, 0, 0, 0, 2, 0, 0, 0} + zeros(48) +
               Bytes{0x67, 0x12, 0, 0} + zeros(8) + zeros(2)));
}

TEST_F(Request, AsksForTheRouteToTheHighestNode) {
    EXPECT_EQ(hbw_ask_route(out_.data(), PID, 2048), 4U + 76U + 2048U);
}

TEST_F(Request, SubscribesToAllNodes) {
    EXPECT_EQ(sent(hbw_subscribe_all(out_.data(), PID, Hb_All_Nodes_Subscription, "pair")),
              (Bytes{0x88, 0x30, 0, 0} + zeros(8) + Bytes{0xD1, 0, 0, 0, 0x3C, 0x30, 0, 0} + zeros(48) +
               Bytes{0x67, 0x12, 0, 0} + zeros(8) +
               Bytes{1, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 'p', 'a', 'i', 'r'} + zeros(28) + zeros(4) +
               zeros(12300)));
}

TEST(Record, HasAHeaderOf108Bytes) {
    Bytes bytes(112);
    bytes[0] = 5;
    bytes[60] = 'f';
    bytes[104] = 9;
    bytes[108] = 1;
    Hbw_Record record{};
    ASSERT_EQ(hbw_read_record(bytes.data(), bytes.size(), &record), 0);
    EXPECT_EQ(record.kind, 5);
    EXPECT_EQ(record.sequence, 9U);
    EXPECT_EQ(record.failure, std::string("f"));
    EXPECT_EQ(record.size, 4U);
    EXPECT_EQ(hbw_number_at(record.body), 1);
    EXPECT_EQ(hbw_read_record(bytes.data(), 107, &record), -1);
}

} // namespace
