// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/log.h"
#include "tests/unit/wispd/log_fixture.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;

using WispdLog = wispd_test::WispdLogged;

TEST_F(WispdLog, LineOfSomebodyElsesTextStaysOneLine) {
    wispd::log_warning("a client named \"x\n2030-01-01 info stopping\r\x1b[2J\" {} %s");
    EXPECT_THAT(lines(), ElementsAre(EndsWith(
                             R"(warning a client named "x\x0A2030-01-01 info stopping\x0D\x1B[2J" {} %s)")));
}

TEST_F(WispdLog, LinesBelowTheLevelAreLeftOut) {
    wispd::log_debug("quiet");
    wispd::set_log_level("debug");
    wispd::log_debug("heard");
    wispd::set_log_level("error");
    wispd::log_warning("quiet");
    wispd::log_error("bad");
    EXPECT_THAT(lines(), ElementsAre(EndsWith("debug heard"), EndsWith("error bad")));
}

TEST_F(WispdLog, TheLevelIsKnown) {
    for (const char *level : {"debug", "warning", "error", "info"}) {
        EXPECT_TRUE(wispd::is_log_level(level));
        wispd::set_log_level(level);
        EXPECT_EQ(wispd::log_level(), level);
    }
    for (const char *other : {"", "Debug", "trace", "off", "warn"}) {
        EXPECT_FALSE(wispd::is_log_level(other));
    }
}

} // namespace
