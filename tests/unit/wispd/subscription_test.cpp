// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/publisher/subscription.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wispd::Adapter_Member;
using wispd::covered;
using wispd::covers;
using wispd::Subscription;
using wispd_test::field;
using wispd_test::hex;
using wispd_test::join;
using wispd_test::zeros;

// A subscription as sent: type, cursor, events, name, network, padding, count, bitmap.
std::vector<char> record(std::string_view type, std::string_view events, std::string_view name,
                         const std::vector<char> &bitmap) {
    std::vector<char> bytes =
        join(hex(type), zeros(4), hex(events), field(name, 32), zeros(4), zeros(4), bitmap);
    bytes.resize(12348);
    return bytes;
}

Subscription read(const std::vector<char> &bytes) {
    std::string fault;
    const std::optional<Subscription> subscription = wispd::read_subscription(bytes, fault);
    EXPECT_TRUE(subscription.has_value()) << fault;
    return subscription.value_or(Subscription());
}

std::string fault_of(const std::vector<char> &bytes) {
    std::string fault = "it was taken";
    wispd::read_subscription(bytes, fault);
    return fault;
}

const std::vector<Adapter_Member> SIX = {{2, 1}, {3, 1}, {4, 1}, {5, 1}, {6, 1}, {7, 1}};

TEST(WispdSubscription, NodeBitmapHasTheMostSignificantBitFirst) {
    const Subscription subscription = read(record("00000000", "01000000", "n", hex("50 01 80")));
    EXPECT_TRUE(is_about_nodes(subscription));
    EXPECT_FALSE(is_about_adapters(subscription));
    const std::vector<Hb_Node_Number> nodes = {0, 1, 2, 3, 14, 15, 16, 17};
    EXPECT_THAT(covered(subscription, std::span(nodes)), ElementsAre(1, 3, 15, 16));
}

TEST(WispdSubscription, AllNodesCoversEveryNumberWhateverTheBitmapSays) {
    const Subscription subscription = read(record("01000000", "07000000", "all", {}));
    EXPECT_TRUE(covers(subscription, 0));
    EXPECT_TRUE(covers(subscription, 2048));
}

TEST(WispdSubscription, AdapterAndNetworkTypesUseTheAdapterBitmap) {
    for (const char *type : {"02000000", "05000000"}) {
        const Subscription subscription = read(record(type, "03000000", "a", hex("0a"))); // 4 and 6
        EXPECT_TRUE(is_about_adapters(subscription));
        EXPECT_EQ(covered(subscription, std::span(SIX)), (std::vector<Adapter_Member>{{4, 1}, {6, 1}}));
    }
}

TEST(WispdSubscription, LastAdapterHasTheLastBit) {
    std::vector<char> bitmap(12294);
    bitmap.back() = 0x01;
    const Subscription subscription = read(record("02000000", "01000000", "a", bitmap));
    EXPECT_TRUE(covers(subscription, 98351));
    EXPECT_FALSE(covers(subscription, 98350));
    EXPECT_FALSE(covers(subscription, 98352));
}

TEST(WispdSubscription, NodeBitmapEndsAfter257Bytes) {
    std::vector<char> bitmap(300, static_cast<char>(0xff));
    const Subscription subscription = read(record("00000000", "01000000", "n", bitmap));
    EXPECT_TRUE(covers(subscription, 2048));
    EXPECT_FALSE(covers(subscription, 2056));
}

TEST(WispdSubscription, DifferentInstanceAndSitesCoverNoMember) {
    for (const char *type : {"06000000", "07000000", "08000000"}) {
        const Subscription subscription = read(record(type, "00010000", "d", {}));
        EXPECT_FALSE(is_about_nodes(subscription));
        EXPECT_FALSE(is_about_adapters(subscription));
    }
}

TEST(WispdSubscription, EmptyBitmapCoversNobody) {
    const Subscription subscription = read(record("02000000", "01000000", "a", {}));
    EXPECT_THAT(covered(subscription, std::span(SIX)), IsEmpty());
}

TEST(WispdSubscription, NameIsCutAtItsField) {
    EXPECT_EQ(read(record("01000000", "01000000", std::string(32, 'x'), {})).name, std::string(31, 'x'));
    EXPECT_EQ(read(record("01000000", "01000000", std::string_view("ab\0cd", 5), {})).name, "ab");
}

TEST(WispdSubscription, WhatIsNoSubscriptionIsRefused) {
    EXPECT_EQ(fault_of(record("04000000", "01000000", "e", {})), "an empty subscription \"e\"");
    EXPECT_EQ(fault_of(record("09000000", "01000000", "e", {})), "a subscription of unknown type 9");
    EXPECT_EQ(fault_of(record("ffffffff", "01000000", "e", {})), "a subscription of unknown type -1");
    EXPECT_EQ(fault_of(record("00000000", "00000000", "e", {})), "a subscription with event mask 0");
    EXPECT_EQ(fault_of(record("00000000", "08000000", "e", {})), "a subscription with event mask 8");
    EXPECT_EQ(fault_of(record("00000000", "80000000", "e", {})), "a subscription with event mask 128");
    EXPECT_EQ(fault_of(zeros(12347)), "a subscription of 12347 bytes; expected 12348");
    EXPECT_EQ(fault_of({}), "a subscription of 0 bytes; expected 12348");
}

TEST(WispdSubscription, UnsubscribeNamesEndAtTheirNulOrField) {
    const std::string name("alerts\0junk", 11);
    EXPECT_EQ(wispd::read_name(name), "alerts");
    EXPECT_EQ(wispd::read_name(std::string(60, 'y')), std::string(31, 'y'));
    EXPECT_EQ(wispd::read_name({}), "");
}

} // namespace
