// SPDX-License-Identifier: Apache-2.0
// A configuration file whose cluster comes from an engine.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/configuration_file.h"

namespace {

using namespace std::chrono_literals;
using testing::StartsWith;
using wispd::Configuration_File;
using wispd::parse_configuration_file;

const std::string COROSYNC = "[source]\ntype = \"corosync\"\n";

std::string error_of(const std::string &document) {
    try {
        parse_configuration_file(document, "wispd.toml");
    } catch (const wispd::Config_Error &error) {
        return error.what();
    }
    return "taken";
}

TEST(WispdCorosyncSection, TheTypeAloneIsEnough) {
    const Configuration_File file = parse_configuration_file(COROSYNC, "wispd.toml");
    ASSERT_TRUE(file.engine);
    const auto &settings = std::get<wispd::Corosync_Settings>(*file.engine);
    EXPECT_EQ(settings.patience.poll, 100ms);
    EXPECT_EQ(settings.patience.grace, 10s);
    EXPECT_TRUE(settings.names.nodes.empty());
    EXPECT_EQ(settings.names.instance, 1u);
    EXPECT_FALSE(settings.names.heartbeat);
}

TEST(WispdCorosyncSection, EveryKeyIsTaken) {
    const Configuration_File file = parse_configuration_file(
        "[source]\ntype = \"corosync\"\npoll_milliseconds = 20\ngrace_seconds = 1.5\n"
        "[[source.node]]\nid = 4294967295\nnumber = 2048\n[[source.node]]\nid = 1\nnumber = 0\n"
        "[[source.network]]\nlink = 7\nname = \"backup\"\n"
        "[cluster]\ninstance = 9\n[heartbeat]\nthreshold_seconds = 2\n[daemon]\nlog_level = \"debug\"\n",
        "wispd.toml");
    ASSERT_TRUE(file.engine);
    const auto &settings = std::get<wispd::Corosync_Settings>(*file.engine);
    EXPECT_EQ(settings.patience.poll, 20ms);
    EXPECT_EQ(settings.patience.grace, 1500ms);
    EXPECT_EQ(settings.names.nodes, (std::map<uint32_t, int>{{4294967295u, 2048}, {1, 0}}));
    EXPECT_EQ(settings.names.networks, (std::map<int, std::string>{{7, "backup"}}));
    EXPECT_EQ(settings.names.instance, 9u);
    EXPECT_EQ(settings.names.heartbeat, (wispd::Heartbeat{2, 0, true}));
    EXPECT_EQ(file.daemon.log_level, "debug");
}

TEST(WispdCorosyncSection, TheFileIsTheSourceWhereNothingElseIsSaid) {
    EXPECT_THAT(error_of("[source]\ntype = \"file\"\n"), StartsWith("wispd.toml:1:1: missing table [cluster]"));
    EXPECT_EQ(error_of("[source]\ntype = \"pacemaker\"\n"),
              "wispd.toml:2:8: \"pacemaker\" is not a source; expected \"file\", \"corosync\" or \"serf\"");
}

TEST(WispdCorosyncSection, WhatTheEngineTellsMustNotStandHere) {
    EXPECT_EQ(error_of(COROSYNC + "[[node]]\nnumber = 1\n"),
              "wispd.toml:3:1: [[node]] is not permitted with [source] type = \"corosync\": Corosync's own "
              "configuration describes the cluster; write names into [[source.network]] and [[source.node]]");
    EXPECT_THAT(error_of(COROSYNC + "[[network]]\nnumber = 1\n"),
                StartsWith("wispd.toml:3:1: [[network]] is not permitted"));
    EXPECT_EQ(error_of(COROSYNC + "[cluster]\nlocal_node = 1\n"),
              "wispd.toml:4:1: unknown key 'local_node' in [cluster]; expected one of: instance");
    EXPECT_EQ(error_of(COROSYNC + "timeline = \"t.toml\"\n"),
              "wispd.toml:3:1: unknown key 'timeline' in [source] of type \"corosync\"; expected one of: type, "
              "poll_milliseconds, grace_seconds, node, network");
}

TEST(WispdCorosyncSection, WhatIsForAnEngineMustNotStandElsewhere) {
    EXPECT_EQ(error_of("[source]\ngrace_seconds = 1\n"),
              "wispd.toml:2:1: unknown key 'grace_seconds' in [source]; expected one of: type, timeline");
}

TEST(WispdCorosyncSection, NumbersOutOfRangeAreNamed) {
    EXPECT_EQ(
        error_of(COROSYNC + "poll_milliseconds = 19\n"),
        "wispd.toml:3:21: 'poll_milliseconds' in [source] of type \"corosync\" is 19; expected an integer "
        "from 20 to 5000");
    EXPECT_EQ(error_of(COROSYNC + "[[source.node]]\nid = 1\nnumber = 2049\n"),
              "wispd.toml:5:10: 'number' in [[source.node]] is 2049; expected an integer from 0 to 2048");
    EXPECT_EQ(error_of(COROSYNC + "[[source.network]]\nlink = 8\nname = \"a\"\n"),
              "wispd.toml:4:8: 'link' in [[source.network]] is 8; expected an integer from 0 to 7");
}

TEST(WispdCorosyncSection, WhatIsGivenTwiceIsNamedWithBothPlaces) {
    EXPECT_EQ(error_of(COROSYNC + "[[source.node]]\nid = 1\nnumber = 2\n[[source.node]]\nid = 1\nnumber = 3\n"),
              "wispd.toml:7:6: id 1 is mapped to a number twice; the first is at wispd.toml:3:1");
    EXPECT_EQ(error_of(COROSYNC + "[[source.node]]\nid = 1\nnumber = 2\n[[source.node]]\nid = 2\nnumber = 2\n"),
              "wispd.toml:8:10: number 2 is used twice; the first is at wispd.toml:3:1");
    EXPECT_EQ(error_of(COROSYNC + "[[source.network]]\nlink = 0\nname = \"a\"\n"
                                  "[[source.network]]\nlink = 1\nname = \"a\"\n"),
              "wispd.toml:8:8: network name \"a\" is used twice; the first is at wispd.toml:3:1");
    EXPECT_EQ(error_of(COROSYNC + "[[source.network]]\nlink = 0\nname = \"a\"\n"
                                  "[[source.network]]\nlink = 0\nname = \"b\"\n"),
              "wispd.toml:7:8: link 0 is named twice");
}

} // namespace
