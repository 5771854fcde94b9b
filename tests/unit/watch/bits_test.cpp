// SPDX-License-Identifier: Apache-2.0
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "tests/unit/watch/watch_parts.h"

namespace {

class Bits : public testing::Test {
  protected:
    ~Bits() override {
        hbw_bits_free(&bits_);
        hbw_bits_free(&other_);
    }

    static std::set<uint32_t> members(const Hbw_Bits &bits) {
        std::set<uint32_t> found;
        for (uint32_t at = hbw_bits_next(&bits, 0); at != HBW_NO_MEMBER; at = hbw_bits_next(&bits, at + 1)) {
            found.insert(at);
        }
        return found;
    }

    Hbw_Bits bits_{};
    Hbw_Bits other_{};
};

TEST_F(Bits, AnEmptySetHasNoMember) {
    EXPECT_FALSE(hbw_bits_has(&bits_, 0));
    EXPECT_EQ(hbw_bits_next(&bits_, 0), HBW_NO_MEMBER);
    EXPECT_EQ(hbw_bits_next(&bits_, HBW_NO_MEMBER), HBW_NO_MEMBER);
}

TEST_F(Bits, WhatLiesBeyondTheRoomDoesNotBecomeAMember) {
    ASSERT_EQ(hbw_bits_reserve(&bits_, 64), 0);
    hbw_bits_add(&bits_, 64);
    EXPECT_FALSE(hbw_bits_has(&bits_, 64));
    hbw_bits_add(&bits_, 63);
    EXPECT_TRUE(hbw_bits_has(&bits_, 63));
    hbw_bits_remove(&bits_, 4000);
    EXPECT_EQ(members(bits_), (std::set<uint32_t>{63}));
}

TEST_F(Bits, MoreRoomKeepsTheMembers) {
    ASSERT_EQ(hbw_bits_reserve(&bits_, 2049), 0);
    hbw_bits_add(&bits_, 0);
    hbw_bits_add(&bits_, 2048);
    ASSERT_EQ(hbw_bits_reserve(&bits_, 98352), 0);
    hbw_bits_add(&bits_, 98351);
    EXPECT_EQ(members(bits_), (std::set<uint32_t>{0, 2048, 98351}));
    hbw_bits_clear(&bits_);
    EXPECT_TRUE(members(bits_).empty());
}

TEST_F(Bits, AgreeWithSetsOfTheStandardLibrary) {
    std::mt19937 random(7);
    std::uniform_int_distribution<uint32_t> any(0, 299);
    ASSERT_EQ(hbw_bits_reserve(&bits_, 300), 0);
    ASSERT_EQ(hbw_bits_reserve(&other_, 200), 0);
    std::set<uint32_t> set;
    std::set<uint32_t> other;
    for (int round = 0; round < 2000; ++round) {
        const uint32_t number = any(random);
        if (random() % 2 == 0) {
            hbw_bits_add(&bits_, number);
            set.insert(number);
        } else {
            hbw_bits_remove(&bits_, number);
            set.erase(number);
        }
        if (number < 200 && random() % 2 == 0) {
            hbw_bits_add(&other_, number);
            other.insert(number);
        }
        ASSERT_EQ(hbw_bits_has(&bits_, number), static_cast<int>(set.count(number)));
        const uint32_t from = any(random);
        uint32_t expected = HBW_NO_MEMBER;
        for (auto at = set.lower_bound(from); at != set.end(); ++at) {
            if (other.count(*at) == 0) {
                expected = *at;
                break;
            }
        }
        ASSERT_EQ(hbw_bits_next_difference(&bits_, &other_, from), expected);
    }
    EXPECT_EQ(members(bits_), set);
}

} // namespace
