// SPDX-License-Identifier: Apache-2.0
// First-failure identifiers.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <time.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform_child.h"
#include "qz_ffdc.h"

using testing::MatchesRegex;

namespace {

std::string utc_now() {
    const time_t now = time(nullptr);
    tm parts{};
    gmtime_r(&now, &parts);
    char text[32];
    strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts);
    return text;
}

std::string made() {
    fc_eid_t id;
    std::memset(id, 'x', sizeof id);
    EXPECT_EQ(qz_ffdc_make_id(id), 0);
    EXPECT_EQ(id[42], '\0');
    return id;
}

TEST(Ffdc, AnIdentifierHolds43Bytes) {
    EXPECT_EQ(sizeof(fc_eid_t), 43u);
}

TEST(Ffdc, AMadeIdentifierTellsTimeAndProcess) {
    const std::string before = utc_now();
    const std::string id = made();
    const std::string after = utc_now();
    EXPECT_THAT(id, MatchesRegex("[0-9]{8}T[0-9]{6}Z-[0-9a-f]{8}-[0-9a-f]{16}"));
    EXPECT_EQ(id.size(), 42u);
    EXPECT_GE(id.substr(0, 16), before);
    EXPECT_LE(id.substr(0, 16), after);
    char process[9];
    std::snprintf(process, sizeof process, "%08x", static_cast<unsigned>(getpid()));
    EXPECT_EQ(id.substr(17, 8), process);
}

TEST(Ffdc, AMadeIdentifierIsWellFormedAndErrnoIsKept) {
    fc_eid_t id;
    errno = 4711;
    EXPECT_EQ(qz_ffdc_make_id(id), 0);
    EXPECT_EQ(qz_ffdc_check_id(id), 0);
    EXPECT_EQ(errno, 4711);
}

TEST(Ffdc, IdentifiersAreUniqueInAndAcrossProcesses) {
    std::set<std::string> ids;
    std::set<std::string> random_parts;
    for (int i = 0; i < 10000; ++i) {
        ids.insert(made());
    }
    const Child_Result child = in_child({}, [] {
        for (int i = 0; i < 1000; ++i) {
            say(made() + "\n");
        }
    });
    for (const std::string &id : lines_of(child.said)) {
        ids.insert(id);
    }
    EXPECT_EQ(ids.size(), 11000u);
    for (const std::string &id : ids) {
        random_parts.insert(id.substr(26));
    }
    EXPECT_EQ(random_parts.size(), 11000u);
}

TEST(Ffdc, EveryPrintableTextOf1To42CharactersIsWellFormed) {
    fc_eid_t longest = "abcdefghijklmnopqrstuvwxyz0123456789.-_/ ~";
    ASSERT_EQ(std::strlen(longest), 42u);
    EXPECT_EQ(qz_ffdc_check_id(longest), 0);
    fc_eid_t shortest = "!";
    EXPECT_EQ(qz_ffdc_check_id(shortest), 0);
    fc_eid_t with_rest = "ab\0\x01\xFF";
    EXPECT_EQ(qz_ffdc_check_id(with_rest), 0);
}

TEST(Ffdc, WhatIsNotWellFormedIsRefused) {
    const auto refused = [](const char *id) {
        errno = 0;
        return qz_ffdc_check_id(id) == -1 && errno == EINVAL;
    };
    const fc_eid_t empty = "";
    const fc_eid_t control = "a\x1f";
    const fc_eid_t newline = "a\n";
    const fc_eid_t del = "a\x7f";
    const fc_eid_t not_ascii = "a\xc3\xa4";
    fc_eid_t endless;
    std::memset(endless, 'a', sizeof endless);
    EXPECT_TRUE(refused(nullptr));
    EXPECT_TRUE(refused(empty));
    EXPECT_TRUE(refused(control));
    EXPECT_TRUE(refused(newline));
    EXPECT_TRUE(refused(del));
    EXPECT_TRUE(refused(not_ascii));
    EXPECT_TRUE(refused(endless));
}

TEST(Ffdc, MakingIntoNothingIsRefused) {
    errno = 0;
    EXPECT_EQ(qz_ffdc_make_id(nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

} // namespace
