// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "cluster/description/timeline.h"

namespace {

using wispd::Config_Error;
using wispd::parse_timeline;
using wispd::Verb;

std::string error_of(const std::string &document) {
    try {
        parse_timeline(document, "t.toml");
    } catch (const Config_Error &error) {
        return error.what();
    }
    return "it was taken";
}

TEST(WispdTimeline, EventsAreReadInOrder) {
    const auto events =
        parse_timeline("[[event]]\nafter = 1.5\ndo = \"node-down\"\nnode = 3\n"
                       "[[event]]\nafter = 2\ndo = \"adapter-join\"\nadapter = 7\naddress = \"10.0.0.1\"\n"
                       "[[event]]\nafter = 0.000001\ndo = \"reconfigure\"\nconfig = \"b.toml\"\n"
                       "[[event]]\nafter = 0\ndo = \"stop\"\n",
                       "/etc/hb/t.toml");
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[0].after.count(), 1500000);
    EXPECT_EQ(events[0].command.verb, Verb::node_down);
    EXPECT_EQ(events[0].command.node, 3);
    EXPECT_EQ(events[0].place, "/etc/hb/t.toml:1:1");
    EXPECT_EQ(events[1].after.count(), 2000000);
    EXPECT_EQ(events[1].command.adapter, 7);
    EXPECT_TRUE(events[1].command.address.has_value());
    EXPECT_EQ(events[2].after.count(), 1);
    EXPECT_EQ(events[2].command.config, "/etc/hb/b.toml");
    EXPECT_EQ(events[3].command.verb, Verb::stop);
}

TEST(WispdTimeline, EmptyTimelineHasNoEvents) {
    EXPECT_TRUE(parse_timeline("", "t.toml").empty());
}

TEST(WispdTimeline, FaultsAreToldWithTheirPlace) {
    EXPECT_EQ(error_of("[[event]]\ndo = \"stop\"\n"), "t.toml:1:1: missing key 'after' in [[event]]");
    EXPECT_EQ(error_of("[[event]]\nafter = -1\ndo = \"stop\"\n"),
              "t.toml:2:9: 'after' in [[event]] is -1; expected a number from 0 to 31536000");
    EXPECT_EQ(error_of("[[event]]\nafter = 1\ndo = \"node-down\"\n"), "t.toml:3:6: node-down requires 'node'");
    EXPECT_EQ(error_of("[[event]]\nafter = 1\ndo = \"stop\"\nnode = 3\n"),
              "t.toml:3:6: stop does not accept 'node'");
    EXPECT_EQ(error_of("[[event]]\nafter = 1\ndo = \"state\"\n"),
              "t.toml:3:6: state returns an answer and cannot be used in a timeline");
    EXPECT_EQ(error_of("[[event]]\nafter = 1\ndo = \"play\"\n"),
              "t.toml:3:6: play cannot be used in a timeline; copy the other timeline's events into this one");
    EXPECT_EQ(error_of("[[event]]\nafter = 1\ndo = \"node-down\"\nnode = 1.5\n"),
              "t.toml:4:8: 'node' in [[event]] is neither an integer, a string nor a boolean");
    EXPECT_EQ(error_of("[[events]]\n"),
              "t.toml:1:3: unknown key 'events' in the timeline; expected one of: event");
}

} // namespace
