#include <array>
#include <cstring>

#include <gtest/gtest.h>

#include "common/ip_address.h"
#include "hb_client.h"
#include "tools/hbctl/day_change.h"
#include "tools/hbctl/plain_text.h"

using namespace hbctl;
using common::address_text;

namespace {

Hb_IP_address6 address_of(const std::array<unsigned char, 16> &bytes) {
    Hb_IP_address6 address{};
    std::memcpy(&address, bytes.data(), bytes.size());
    return address;
}

} // namespace

TEST(HbctlPlainText, AddressesOfBothFamilies) {
    EXPECT_EQ(address_text(address_of({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 1, 0, 3})), "10.1.0.3");
    EXPECT_EQ(address_text(address_of({0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1})), "fe80::1");
    EXPECT_EQ(address_text(address_of({})), "::");
}

TEST(HbctlPlainText, RangesOfNumbers) {
    EXPECT_EQ(number_ranges({}), "");
    EXPECT_EQ(number_ranges({4}), "4");
    EXPECT_EQ(number_ranges({4, 5}), "4, 5");
    EXPECT_EQ(number_ranges({1, 2, 3, 7, 9, 10, 11, 12}), "1-3, 7, 9-12");
}

TEST(HbctlPlainText, CountedNouns) {
    EXPECT_EQ(counted(0, "node"), "0 nodes");
    EXPECT_EQ(counted(1, "node"), "1 node");
    EXPECT_EQ(counted(2, "node"), "2 nodes");
}

TEST(HbctlPlainText, UniversalTimeHasMilliseconds) {
    // 86,400 seconds after the beginning of 1970, and 7 milliseconds.
    EXPECT_EQ(utc_text(Wall_Time(std::chrono::milliseconds(86400007))), "1970-01-02T00:00:00.007Z");
}

TEST(HbctlPlainText, ClockTimeEndsWithItsMilliseconds) {
    const std::string text = clock_text(Wall_Time(std::chrono::milliseconds(120)));
    EXPECT_EQ(text.size(), 12U);
    EXPECT_EQ(text.substr(8), ".120");
}

TEST(HbctlPlainText, DurationsHaveTheirTwoLargestUnits) {
    using namespace std::chrono_literals;
    EXPECT_EQ(duration_text(-5s), "0 s");
    EXPECT_EQ(duration_text(59999ms), "59 s");
    EXPECT_EQ(duration_text(125s), "2 min 5 s");
    EXPECT_EQ(duration_text(3h + 7min + 59s), "3 h 7 min");
    EXPECT_EQ(duration_text(51h), "2 d 3 h");
}

TEST(HbctlPlainText, TheDateHasNoTime) {
    const std::string text = date_text(Wall_Time(std::chrono::hours(24 * 365)));
    EXPECT_EQ(text.size(), 10U);
    EXPECT_EQ(text.substr(4, 1), "-");
    EXPECT_TRUE(text.starts_with("1970-12-31") || text.starts_with("1971-01-01")) << text;
}

TEST(HbctlPlainText, AnotherDayIsNoticedOnce) {
    const Wall_Time first(std::chrono::hours(24 * 365));
    const Wall_Time next = first + std::chrono::hours(24);
    Day_Change day;
    EXPECT_EQ(day.next(first), std::nullopt) << "nothing has begun";
    EXPECT_EQ(day.begin(first), date_text(first));
    EXPECT_EQ(day.next(first), std::nullopt);
    EXPECT_EQ(day.next(next), date_text(next));
    EXPECT_EQ(day.next(next), std::nullopt);
}
