// SPDX-License-Identifier: Apache-2.0
// New keys.
#include <array>
#include <cerrno>
#include <climits>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "tests/unit/mss/owned_key.h"

namespace {

using hb_test::Bytes;
using hb_test::same_bytes;

struct Kind {
    uint32_t type;
    int32_t length;
};

TEST(GeneratedKey, HasTheTypeVersionAndLengthAskedFor) {
    const Kind kinds[] = {{1, 16}, {1, 32}, {1, 236}, {2, 16}, {2, 64}, {2, 236}, {3, 16}, {3, 24}, {3, 32}};
    for (const Kind &kind : kinds) {
        SCOPED_TRACE(testing::Message() << "type " << kind.type << " length " << kind.length);
        Owned_Key key;
        errno = 4711;
        ASSERT_EQ(key.generate(kind.type, kind.length), 0);
        EXPECT_EQ(errno, 4711);
        EXPECT_EQ(key.type, kind.type);
        EXPECT_EQ(key.version, 1);
        EXPECT_EQ(key.length, kind.length);
        ASSERT_NE(key.value, nullptr);
        EXPECT_EQ(key.schedule, nullptr);
    }
}

TEST(GeneratedKey, IsRefusedForAnUnknownKind) {
    const Kind kinds[] = {{0, 16},  {4, 16},  {0xFFFFFFFF, 16}, {1, 0}, {1, 15},      {1, 237},     {1, -1},
                          {1, -16}, {2, 15},  {2, 237},         {3, 0}, {3, 15},      {3, 17},      {3, 25},
                          {3, 33},  {3, 236}, {3, -32},         {0, 0}, {1, INT_MIN}, {1, INT_MAX}, {2, 256}};
    for (const Kind &kind : kinds) {
        SCOPED_TRACE(testing::Message() << "type " << kind.type << " length " << kind.length);
        Owned_Key key;
        errno = 4711;
        EXPECT_EQ(key.generate(kind.type, kind.length), -1);
        EXPECT_EQ(errno, 4711);
        EXPECT_TRUE(key.is_zeroed());
    }
    EXPECT_EQ(sec_generate_typed_key(1, 32, nullptr), -1);
}

// 64 keys of 128 bits. Two equal keys, or a byte that is the same in all, would appear once in 2^116 runs.
TEST(GeneratedKey, IsUnlikeAnyOtherInEveryByte) {
    std::set<Bytes> keys;
    std::array<std::set<unsigned char>, 16> values;
    for (int i = 0; i < 64; ++i) {
        Owned_Key key;
        ASSERT_EQ(key.generate(1, 16), 0);
        const Bytes bytes = key.bytes();
        keys.insert(bytes);
        for (std::size_t at = 0; at < 16; ++at) {
            values[at].insert(bytes[at]);
        }
    }
    EXPECT_EQ(keys.size(), 64U);
    for (std::size_t at = 0; at < 16; ++at) {
        EXPECT_GT(values[at].size(), 1U) << "byte " << at;
    }
}

TEST(GeneratedKey, ComesBackFromItsMarshalledForm) {
    const Kind kinds[] = {{1, 16}, {1, 236}, {2, 64}, {3, 24}};
    for (const Kind &kind : kinds) {
        SCOPED_TRACE(testing::Message() << "type " << kind.type << " length " << kind.length);
        Owned_Key key;
        ASSERT_EQ(key.generate(kind.type, kind.length), 0);
        Bytes room;
        room.zeros(256);
        sec_buffer_desc marshalled = {256, room.data()};
        ASSERT_EQ(sec_marshal_typed_key(&key, &marshalled), 0);
        EXPECT_EQ(marshalled.length, 20 + kind.length);
        Owned_Key again;
        ASSERT_EQ(again.unmarshal(marshalled.length, room.data()), 0);
        EXPECT_EQ(again.type, kind.type);
        EXPECT_NE(again.value, key.value);
        EXPECT_TRUE(same_bytes(key.bytes(), again.bytes()));
    }
}

TEST(ReleasedKey, LeavesItsDescriptorToItsOwner) {
    Owned_Key key;
    ASSERT_EQ(key.generate(2, 64), 0);
    const sec_key_desc before = key;
    sec_release_typed_key(&key);
    key.filled = false;
    EXPECT_EQ(key.type, 2U);
    EXPECT_EQ(key.version, 1);
    EXPECT_EQ(key.length, 64);
    EXPECT_EQ(key.value, before.value);
}

TEST(ReleasedKey, MayBeNoneAtAll) {
    sec_key_desc none = {};
    errno = 4711;
    sec_release_typed_key(&none);
    sec_release_typed_key(&none);
    sec_release_typed_key(nullptr);
    EXPECT_EQ(errno, 4711);
    EXPECT_EQ(none.value, nullptr);
}

TEST(TypedKeys, AreMadeAndReadByManyThreadsAtOnce) {
    std::vector<std::thread> threads;
    threads.reserve(4);
    std::array<int, 4> good{};
    for (int &count : good) {
        threads.emplace_back([&count] {
            for (int i = 0; i < 200; ++i) {
                Owned_Key key;
                Owned_Key again;
                unsigned char room[256];
                sec_buffer_desc marshalled = {256, room};
                if (key.generate(3, 32) == 0 && sec_marshal_typed_key(&key, &marshalled) == 0 &&
                    again.unmarshal(marshalled.length, room) == 0 && again.bytes() == key.bytes()) {
                    ++count;
                }
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, (std::array<int, 4>{200, 200, 200, 200}));
}

} // namespace
