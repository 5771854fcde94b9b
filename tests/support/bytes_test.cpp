// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include "tests/support/bytes.h"
#include "tests/support/records.h"

namespace hb_test {
namespace {

TEST(Bytes, IntegersAreWrittenLowestByteFirst) {
    EXPECT_EQ(Bytes({0x02, 0x01, 0x78, 0x56, 0x34, 0x12}), Bytes().i16(0x0102).i32(0x12345678));
}

TEST(Bytes, NegativeIntegersAreTwosComplement) {
    EXPECT_EQ(Bytes({0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), Bytes().i16(-2).i32(-1));
    EXPECT_EQ(Bytes({0xFF, 0xFF, 0xFF, 0xFF}), Bytes().i32(0xFFFFFFFFLL));
}

TEST(Bytes, RefusesWhatDoesNotFit) {
    EXPECT_THROW(Bytes().i16(0x10000), std::out_of_range);
    EXPECT_THROW(Bytes().i32(0x100000000LL), std::out_of_range);
    EXPECT_THROW(Bytes().i32(-0x80000001LL), std::out_of_range);
}

TEST(Bytes, TextIsFilledUpOrCutToItsField) {
    EXPECT_EQ(Bytes({'a', 'b', 0, 0}), Bytes().text("ab", 4));
    EXPECT_EQ(Bytes({'a', 'b'}), Bytes().text("abc", 2));
}

TEST(Bytes, PartsAreTakenWithinBounds) {
    const Bytes bytes{1, 2, 3, 4};
    EXPECT_EQ(Bytes({1, 2}), bytes.first(2));
    EXPECT_EQ(Bytes({3, 4}), bytes.from(2));
    EXPECT_EQ(Bytes({2, 3}), bytes.part(1, 2));
    EXPECT_EQ(Bytes(), bytes.from(9));
    EXPECT_EQ(0x04030201, bytes.i32_at(0));
    EXPECT_THROW((void)bytes.i32_at(1), std::out_of_range);
}

TEST(Bytes, PuttingOverwritesWhatIsThere) {
    EXPECT_EQ(Bytes({9, 1, 0, 0, 0, 8}), Bytes({9, 9, 9, 9, 9, 8}).put_i32(1, 1));
    EXPECT_THROW(Bytes({1, 2, 3}).put_i32(0, 1), std::out_of_range);
}

TEST(Bytes, AnObjectCanBeAddedToItself) {
    Bytes bytes{1, 2};
    bytes.add(bytes);
    EXPECT_EQ(Bytes({1, 2, 1, 2}), bytes);
}

TEST(Bytes, ComparisonNamesTheFirstDifference) {
    EXPECT_TRUE(same_bytes({1, 2}, {1, 2}));
    const testing::AssertionResult changed = same_bytes({1, 2, 3}, {1, 9, 3});
    EXPECT_FALSE(changed);
    EXPECT_NE(std::string::npos, std::string(changed.message()).find("byte 1 differs")) << changed.message();
    EXPECT_FALSE(same_bytes({1, 2, 3}, {1, 2}));
}

TEST(Records, AFrameIsTheLengthAndThePayload) {
    EXPECT_EQ(Bytes({3, 0, 0, 0, 7, 8, 9}), frame({7, 8, 9}));
    EXPECT_EQ(Bytes({0, 0, 0, 0}), frame({}));
}

TEST(Records, AReplyHas108BytesBeforeItsBody) {
    Reply_Header header;
    header.kind = 4;
    header.leader[0] = 0x11;
    header.leader[1] = 0x12;
    header.group_id[0] = 0x13;
    header.group_id[1] = 0x14;
    header.group_status = 1;
    header.subscription_name = "name";
    header.value = 0x15;
    header.ffdc_id = "failure";
    header.sequence = 0x16;
    const Bytes record = reply(header, {0xAA});
    ASSERT_EQ(109U, record.size());
    EXPECT_EQ(4, record.i32_at(0));
    EXPECT_EQ(0x11, record.i32_at(4));
    EXPECT_EQ(0x12, record.i32_at(8));
    EXPECT_EQ(0x13, record.i32_at(12));
    EXPECT_EQ(0x14, record.i32_at(16));
    EXPECT_EQ(1, record.i32_at(20));
    EXPECT_EQ(Bytes({'n', 'a', 'm', 'e', 0}), record.part(24, 5));
    EXPECT_EQ(0x15, record.i32_at(56));
    EXPECT_EQ(Bytes({'f', 'a', 'i', 'l', 'u', 'r', 'e', 0}), record.part(60, 8));
    EXPECT_EQ(0x16, record.i32_at(104));
    EXPECT_EQ(0xAA, record[108]);
}

TEST(Records, ASnapshotIsTheCountsTheAdaptersAndTheNetworks) {
    Cluster_Facts cluster;
    cluster.local_node = 3;
    cluster.max_nodes = 9;
    cluster.adapters_per_node = 4;
    cluster.adapters = {{13, 1, ipv4(10, 0, 0, 7), "en1", 2}};
    cluster.networks = {{"left", "ether"}, {"right", "ib"}};
    const Bytes body = snapshot(cluster);
    ASSERT_EQ(20U + 64U + 2U * 86U, body.size());
    EXPECT_EQ(Bytes({3, 0, 0, 0, 9, 0, 0, 0, 4, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0}), body.first(20));
    EXPECT_EQ(Bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 0, 0, 7, 1, 0, 'e', 'n', '1', 0}),
              body.part(20, 22));
    EXPECT_EQ(Bytes({13, 0, 0, 0, 2, 0, 0, 0}), body.part(20 + 56, 8));
    EXPECT_EQ(Bytes({'l', 'e', 'f', 't', 0}), body.part(84, 5));
    EXPECT_EQ(Bytes({'e', 't', 'h', 'e', 'r', 0}), body.part(84 + 70, 6));
    EXPECT_EQ(Bytes({'r', 'i', 'g', 'h', 't', 0}), body.part(170, 6));
}

TEST(Records, ARequestHas76BytesBeforeItsMessage) {
    const Bytes record = request(209, 0x1234, {1, 2});
    ASSERT_EQ(78U, record.size());
    EXPECT_EQ(209, record.i32_at(8));
    EXPECT_EQ(2, record.i32_at(12));
    EXPECT_EQ(0x1234, record.i32_at(64));
    EXPECT_EQ(Bytes({1, 2}), record.from(76));
}

} // namespace
} // namespace hb_test
