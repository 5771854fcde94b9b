// SPDX-License-Identifier: Apache-2.0
// The plain values of the C++ headers: addresses, texts, masks, numbers, time-outs and reports.
#include <arpa/inet.h>
#include <chrono>
#include <climits>
#include <cstring>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "hb/address.hpp"
#include "hb/event_mask.hpp"
#include "hb/numbers.hpp"
#include "hb/overload.hpp"
#include "hb/report.hpp"
#include "hb/text.hpp"
#include "hb/time.hpp"

namespace hb_test {
namespace {

using namespace std::chrono_literals;

TEST(CompanionAddress, OfVersion4HasTheFormOfTheLibrary) {
    const auto found = hb::address::parse("10.1.0.2");
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->is_v4());
    EXPECT_EQ("10.1.0.2", found->to_string());
    EXPECT_EQ(htonl(0x0A010002), found->v4()->s_addr);
    const unsigned char bytes[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 1, 0, 2};
    EXPECT_EQ(0, std::memcmp(bytes, &found->native(), sizeof bytes));
}

TEST(CompanionAddress, OfVersion6IsWrittenInShortForm) {
    const auto found = hb::address::parse(std::string("2001:db8:0:0::3"));
    ASSERT_TRUE(found);
    EXPECT_FALSE(found->is_v4());
    EXPECT_FALSE(found->v4());
    EXPECT_EQ("2001:db8::3", found->to_string());
    EXPECT_EQ("::", hb::address().to_string());
}

TEST(CompanionAddress, IsNothingForAnotherText) {
    for (const char *text : {"", "10.1.0", "10.1.0.256", "beta", "2001:db8::3::1"}) {
        EXPECT_FALSE(hb::address::parse(text)) << text;
    }
}

TEST(CompanionAddress, ComparesByItsBytes) {
    EXPECT_EQ(*hb::address::parse("10.1.0.2"), *hb::address::parse("::ffff:10.1.0.2"));
    EXPECT_NE(*hb::address::parse("10.1.0.2"), *hb::address::parse("10.1.0.3"));
    EXPECT_LT(*hb::address::parse("10.1.0.2"), *hb::address::parse("10.1.0.3"));
}

TEST(CompanionText, CutsWhatDoesNotFit) {
    const hb::fixed_text<5> text("abcdefg");
    EXPECT_EQ("abcd", text.str());
    EXPECT_EQ(text, "abcd");
    EXPECT_NE(text, "abcde");
    EXPECT_FALSE(text.empty());
    EXPECT_TRUE(hb::fixed_text<5>().empty());
    EXPECT_EQ("ab", hb::fixed_text<5>(std::string_view("ab\0c", 4)).view());
}

TEST(CompanionText, WritesItselfToAStream) {
    std::ostringstream stream;
    stream << hb::adapter_type("eth0") << '/' << hb::network_name("net_a");
    EXPECT_EQ("eth0/net_a", stream.str());
}

TEST(CompanionMask, JoinsKinds) {
    constexpr hb::event_mask mask = hb::event_mask::death | hb::event_mask::join | hb::event_mask::heartbeat;
    static_assert(static_cast<int>(mask) == 515);
    EXPECT_TRUE(has_any(mask, hb::event_mask::join | hb::event_mask::group));
    EXPECT_FALSE(has_any(mask, hb::event_mask::group));
    hb::event_mask sites = hb::event_mask::site_split;
    sites |= hb::event_mask::site_merge;
    EXPECT_EQ(96, static_cast<int>(sites));
}

TEST(CompanionNumbers, DoNotWrapAround) {
    EXPECT_TRUE(hb::detail::fits<hb::node_number>(2048));
    EXPECT_FALSE(hb::detail::fits<hb::node_number>(65537));
    EXPECT_FALSE(hb::detail::fits<hb::adapter_number>(-1));
    EXPECT_TRUE(hb::detail::fits<hb::adapter_number>(0xFFFFFFFFU));
}

TEST(CompanionTimeouts, AreRoundedUpAndBounded) {
    EXPECT_EQ(1, hb::detail::milliseconds_of(1ns));
    EXPECT_EQ(2, hb::detail::milliseconds_of(1001us));
    EXPECT_EQ(1500, hb::detail::milliseconds_of(1.5s));
    EXPECT_EQ(0, hb::detail::milliseconds_of(0s));
    EXPECT_EQ(0, hb::detail::milliseconds_of(-5s)) << "-1 would wait without limit";
    EXPECT_EQ(INT_MAX, hb::detail::milliseconds_of(std::chrono::hours::max()));
    EXPECT_EQ(0, hb::detail::milliseconds_of(std::chrono::hours::min()));
}

Hb_Watch_Report native_report(int kind, unsigned flags) {
    Hb_Watch_Report native = {};
    native.kind = kind;
    native.flags = flags;
    native.node = 3;
    native.network = 1;
    native.adapter = 7;
    native.error = HB_ERROR_DISCONNECTED;
    native.time = 2'000'000'001;
    native.since = 1'000'000'000;
    std::strcpy(native.failure, "f-1");
    return native;
}

std::chrono::nanoseconds since_1970(hb::time_point time) {
    return time.time_since_epoch();
}

TEST(CompanionReport, HasTheTypeAndTheValuesOfTheWatchsOne) {
    const auto died =
        hb::detail::report_of(native_report(HB_WATCH_NODE_DIED, HB_WATCH_CAUGHT_UP | HB_WATCH_REMOVED));
    ASSERT_TRUE(died && std::holds_alternative<hb::reports::node_died>(*died));
    const auto &node = std::get<hb::reports::node_died>(*died);
    EXPECT_EQ(3, node.node);
    EXPECT_EQ(2'000'000'001ns, since_1970(node.time));
    EXPECT_EQ(1s, since_1970(node.since));
    EXPECT_TRUE(node.is_caught_up);
    EXPECT_TRUE(node.is_removed);
    EXPECT_EQ(node.failure, "f-1");

    const auto joined = hb::detail::report_of(native_report(HB_WATCH_ADAPTER_JOINED, HB_WATCH_INITIAL));
    ASSERT_TRUE(joined && std::holds_alternative<hb::reports::adapter_joined>(*joined));
    const auto &adapter = std::get<hb::reports::adapter_joined>(*joined);
    EXPECT_EQ(7U, adapter.adapter);
    EXPECT_EQ(3, adapter.node);
    EXPECT_EQ(1, adapter.network);
    EXPECT_TRUE(adapter.is_initial);
    EXPECT_FALSE(adapter.is_caught_up);
}

TEST(CompanionReport, OfALossHasTheReasonAndTheLastContact) {
    Hb_Watch_Report native = native_report(HB_WATCH_UNREACHABLE, 0);
    const auto lost = hb::detail::report_of(native);
    ASSERT_TRUE(lost && std::holds_alternative<hb::reports::unreachable>(*lost));
    const auto &unreachable = std::get<hb::reports::unreachable>(*lost);
    EXPECT_TRUE(unreachable.reason == HB_ERROR_DISCONNECTED);
    EXPECT_EQ(1s, since_1970(*unreachable.last_contact));
    native.since = 0;
    EXPECT_FALSE(std::get<hb::reports::unreachable>(*hb::detail::report_of(native)).last_contact);
}

TEST(CompanionReport, OfEachKindHasATypeOfItsOwn) {
    const auto name = [](int kind) -> std::string {
        const auto made = hb::detail::report_of(native_report(kind, 0));
        if (!made) {
            return "none";
        }
        return std::visit(
            hb::overload{[](const hb::reports::current &) { return "current"; },
                         [](const hb::reports::unreachable &) { return "unreachable"; },
                         [](const hb::reports::node_joined &) { return "node joined"; },
                         [](const hb::reports::node_died &) { return "node died"; },
                         [](const hb::reports::adapter_joined &) { return "adapter joined"; },
                         [](const hb::reports::adapter_died &) { return "adapter died"; },
                         [](const hb::reports::configuration_changed &) { return "configuration"; }},
            *made);
    };
    EXPECT_EQ("current", name(HB_WATCH_CURRENT));
    EXPECT_EQ("unreachable", name(HB_WATCH_UNREACHABLE));
    EXPECT_EQ("node joined", name(HB_WATCH_NODE_JOINED));
    EXPECT_EQ("node died", name(HB_WATCH_NODE_DIED));
    EXPECT_EQ("adapter joined", name(HB_WATCH_ADAPTER_JOINED));
    EXPECT_EQ("adapter died", name(HB_WATCH_ADAPTER_DIED));
    EXPECT_EQ("configuration", name(HB_WATCH_CONFIGURATION));
    EXPECT_EQ("none", name(99));
}

} // namespace
} // namespace hb_test
