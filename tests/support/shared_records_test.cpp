// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include "tests/support/shared_records.h"

namespace hb_test {
namespace {

TEST(RouteRecord, IsASequenceTwoHalvesAndTheHops) {
    const Bytes record = route_record(0x01020304, 0x0506, 0x0708, hops({Bytes().fill(16, 0xAA), {0xBB}}));
    EXPECT_EQ(184U, record.size());
    EXPECT_EQ(Bytes({4, 3, 2, 1, 6, 5, 8, 7}), record.first(8));
    EXPECT_EQ(Bytes().fill(16, 0xAA).u8(0xBB).zeros(159), record.from(8));
}

TEST(RouteRecord, HasRoomForElevenHops) {
    const std::vector<Bytes> eleven(11, Bytes().fill(16, 1));
    EXPECT_EQ(Bytes().fill(176, 1), hops(eleven));
    EXPECT_THROW(hops(std::vector<Bytes>(12)), std::length_error);
}

TEST(SecuritySegment, HasEveryFieldAtItsOffset) {
    Security_Facts facts;
    facts.sequence = 0x11;
    facts.previous = {{1, 2, 3, 4, 5}, key_slot({0x61})};
    facts.current = {{6, 7, 8, 9, 10}, key_slot(-1, {0x62})};
    facts.cache = {key_slot({0x63}), key_slot({0x64, 0x65})};
    facts.cache_count = 0x12;
    const Bytes segment = security(facts);
    ASSERT_EQ(3168U, segment.size());
    EXPECT_EQ(0x11, segment.i32_at(0));
    EXPECT_EQ(1, segment.i32_at(4));
    EXPECT_EQ(5, segment.i32_at(20));
    EXPECT_EQ(1, segment.i32_at(24)) << "the previous key's length";
    EXPECT_EQ(0x61, segment.i32_at(28));
    EXPECT_EQ(6, segment.i32_at(284));
    EXPECT_EQ(10, segment.i32_at(300));
    EXPECT_EQ(-1, segment.i32_at(304)) << "the current key's length";
    EXPECT_EQ(0x62, segment.i32_at(308));
    EXPECT_EQ(1, segment.i32_at(564)) << "the cache's first";
    EXPECT_EQ(0x63, segment.i32_at(568));
    EXPECT_EQ(2, segment.i32_at(824));
    EXPECT_EQ(0x6564, segment.i32_at(828));
    EXPECT_EQ(Bytes().zeros(2080), segment.part(1084, 2080)) << "eight empty slots";
    EXPECT_EQ(0x12, segment.i32_at(3164));
}

TEST(SecuritySegment, HasRoomForTenCachedKeysOf256Bytes) {
    Security_Facts facts;
    facts.cache.assign(10, key_slot(Bytes().fill(256, 0xFF)));
    EXPECT_EQ(3168U, security(facts).size());
    facts.cache.push_back(empty_slot());
    EXPECT_THROW(security(facts), std::length_error);
    EXPECT_THROW(key_slot(Bytes().zeros(257)), std::length_error);
}

} // namespace
} // namespace hb_test
