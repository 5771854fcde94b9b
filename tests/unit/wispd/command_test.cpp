// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/description/command_json.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using testing::ElementsAre;
using testing::StartsWith;
using wispd::Command;
using wispd::Command_Error;
using wispd::parse_command_line;
using wispd::Verb;

std::string error_of(std::string_view line) {
    try {
        parse_command_line(line);
    } catch (const Command_Error &error) {
        return error.what();
    }
    return "it was taken";
}

TEST(WispdCommand, EveryVerbIsKnown) {
    EXPECT_EQ(parse_command_line(R"({"do":"node-up","node":3})").verb, Verb::node_up);
    EXPECT_EQ(parse_command_line(R"({"do":"node-down","node":3})").verb, Verb::node_down);
    EXPECT_EQ(parse_command_line(R"({"do":"node-join","node":3})").verb, Verb::node_join);
    EXPECT_EQ(parse_command_line(R"({"do":"node-leave","node":3})").verb, Verb::node_leave);
    EXPECT_EQ(parse_command_line(R"({"do":"adapter-up","adapter":3})").verb, Verb::adapter_up);
    EXPECT_EQ(parse_command_line(R"({"do":"adapter-down","adapter":3})").verb, Verb::adapter_down);
    EXPECT_EQ(parse_command_line(R"({"do":"adapter-join","adapter":3})").verb, Verb::adapter_join);
    EXPECT_EQ(parse_command_line(R"({"do":"adapter-leave","adapter":3})").verb, Verb::adapter_leave);
    EXPECT_EQ(parse_command_line(R"({"do":"reconfigure"})").verb, Verb::reconfigure);
    EXPECT_EQ(parse_command_line(R"({"do":"heartbeat"})").verb, Verb::heartbeat);
    EXPECT_EQ(parse_command_line(R"({"do":"ffdc","id":"a"})").verb, Verb::ffdc);
    EXPECT_EQ(parse_command_line(R"({"do":"foreign-instance","address":"::1","instance":2})").verb,
              Verb::foreign_instance);
    EXPECT_EQ(parse_command_line(R"({"do":"node-may-be-down","node":3})").verb, Verb::node_may_be_down);
    EXPECT_EQ(parse_command_line(R"({"do":"adapter-may-be-down","adapter":3})").verb,
              Verb::adapter_may_be_down);
    EXPECT_EQ(parse_command_line(R"({"do":"swap-adapters","adapter":3,"address":"10.1.0.1"})").verb,
              Verb::swap_adapters);
    EXPECT_EQ(parse_command_line(R"({"do":"rotate-key"})").verb, Verb::rotate_key);
    EXPECT_EQ(parse_command_line(R"({"do":"play"})").verb, Verb::play);
    EXPECT_EQ(parse_command_line(R"({"do":"play","timeline":"/t.toml"})").timeline, "/t.toml");
    EXPECT_EQ(parse_command_line(R"({"do":"log-level","level":"error"})").verb, Verb::log_level);
    EXPECT_EQ(parse_command_line(R"({"do":"log-level","level":"error"})").level, "error");
    EXPECT_EQ(parse_command_line(R"({"do":"stop"})").verb, Verb::stop);
    EXPECT_EQ(parse_command_line(R"({"do":"state"})").verb, Verb::state);
}

TEST(WispdCommand, AKeyStandsInALineOnce) {
    EXPECT_EQ(error_of(R"({"do":"state","do":"stop"})"), "'do' occurs twice in the line");
    EXPECT_EQ(error_of(R"({"do":"node-up","node":2,"node":2})"), "'node' occurs twice in the line");
    EXPECT_EQ(error_of(R"({"":1,"do":"state","":2})"), "'' occurs twice in the line");
}

TEST(WispdCommand, ArgumentsArriveAsGiven) {
    const Command join =
        parse_command_line(R"({"do":"adapter-join","adapter":98351,"address":"10.0.0.9","type":"e"})");
    EXPECT_EQ(join.adapter, 98351);
    EXPECT_EQ(wispd::address_text(join.address.value()), "10.0.0.9");
    EXPECT_EQ(join.type, "e");
    const Command heartbeat = parse_command_line(
        R"({"do":"heartbeat","threshold_seconds":2,"threshold_microseconds":7,"enabled":false})");
    EXPECT_EQ(heartbeat.threshold_seconds, 2);
    EXPECT_EQ(heartbeat.threshold_microseconds, 7);
    EXPECT_EQ(heartbeat.enabled, false);
    EXPECT_EQ(parse_command_line(R"({"do":"foreign-instance","address":"::1","instance":4294967295})").instance,
              4294967295u);
}

TEST(WispdCommand, FaultsAreNamed) {
    EXPECT_THAT(error_of("hello"), StartsWith("expected one JSON object in a line"));
    EXPECT_THAT(error_of("[1]"), StartsWith("expected one JSON object in a line"));
    EXPECT_THAT(error_of("{}"), StartsWith("'do' must name the command"));
    EXPECT_THAT(error_of(R"({"do":7})"), StartsWith("'do' must name the command"));
    EXPECT_THAT(error_of(R"({"do":"dance"})"),
                StartsWith("unknown command 'dance'; expected one of: node-up, node-down"));
    EXPECT_EQ(error_of(R"({"do":"node-down"})"), "node-down requires 'node'");
    EXPECT_EQ(error_of(R"({"do":"stop","node":1})"), "stop does not accept 'node'");
    EXPECT_EQ(error_of(R"({"do":"node-down","node":"3"})"), "'node' must be an integer from 0 to 2048");
    EXPECT_EQ(error_of(R"({"do":"node-down","node":2049})"), "'node' must be an integer from 0 to 2048");
    EXPECT_EQ(error_of(R"({"do":"node-down","node":18446744073709551615})"),
              "'node' must be an integer, a string, true or false");
    EXPECT_EQ(error_of(R"({"do":"node-down","node":1.5})"),
              "'node' must be an integer, a string, true or false");
    EXPECT_EQ(error_of(R"({"do":"adapter-join","adapter":1,"address":"x"})"),
              "\"x\" is not an address; expected an IPv4 or IPv6 address");
    EXPECT_EQ(error_of(R"({"do":"ffdc","id":"1234567890123456789012345678901234567890123"})"),
              "'id' must be text of 1 to 42 printable bytes");
    EXPECT_EQ(error_of(R"({"do":"heartbeat","enabled":1})"), "'enabled' must be true or false");
    EXPECT_EQ(error_of(R"({"do":"log-level"})"), "log-level requires 'level'");
    EXPECT_EQ(error_of(R"({"do":"log-level","level":"loud"})"),
              "\"loud\" is not a log level; expected debug, info, warning or error");
}

TEST(WispdCommand, OnlyTheMembersOfTheLineItselfCount) {
    EXPECT_THAT(error_of(R"([{"do":"stop"}])"), StartsWith("expected one JSON object in a line"));
    EXPECT_THAT(error_of(R"({"do":"stop"} {"do":"stop"})"), StartsWith("expected one JSON object in a line"));
    EXPECT_THAT(error_of(R"({"do":"stop")"), StartsWith("expected one JSON object in a line"));
    EXPECT_THAT(error_of(R"({"do":["stop"]})"), StartsWith("'do' must name the command"));
    EXPECT_THAT(error_of(R"({"do":{"do":"stop"}})"), StartsWith("'do' occurs twice"));
    EXPECT_EQ(error_of(R"({"do":"node-down","node":3,"node":4})"), "'node' occurs twice in the line");
    EXPECT_EQ(error_of(R"({"do":"stop","a":{"b":1,"b":2}})"), "'b' occurs twice in the line");
    for (const char *value : {"null", "[]", "{}", "[3]", R"({"node":3})", "3.0", "9223372036854775808"}) {
        EXPECT_THAT(error_of((R"({"do":"node-down","node":)" + std::string(value) + "}").c_str()),
                    testing::AnyOf("'node' must be an integer, a string, true or false",
                                   "'node' occurs twice in the line"))
            << value;
    }
    EXPECT_EQ(error_of(R"({"do":"node-down","node":-9223372036854775808})"),
              "'node' must be an integer from 0 to 2048");
    EXPECT_EQ(parse_command_line(R"( { "node" : 3 , "do" : "node-down" } )").node, 3);
}

TEST(WispdCommand, TheLogDescribesACommandByItsVerbAndArguments) {
    using wispd::command_description;
    EXPECT_EQ(command_description(R"({"do":"node-down","node":3})"), "node-down node=3");
    EXPECT_EQ(command_description(R"({"node":3,"do":"node-down"})"), "node-down node=3");
    EXPECT_EQ(command_description(R"({"do":"heartbeat","enabled":false,"threshold_seconds":2})"),
              "heartbeat enabled=false threshold_seconds=2");
    EXPECT_EQ(command_description(R"({"do":"ffdc","id":"a b"})"), "ffdc id=a b");
    EXPECT_EQ(command_description(R"({"do":"dance","with":[1],"and":{"x":null}})"), "dance and=? with=?");
    for (const char *line : {"", "[1]", "{}", R"({"do":7})", "hello"}) {
        EXPECT_EQ(command_description(line), "an invalid command") << line;
    }
    const std::string longest = command_description("{\"do\":\"" + std::string(60000, 'x') + "\"}");
    EXPECT_EQ(longest, std::string(256, 'x') + "...");
    const std::string deep = std::string(30000, '[') + std::string(30000, ']');
    EXPECT_EQ(command_description(R"({"do":"x","y":)" + deep + "}"), "x y=?");
}

TEST(WispdCommand, AnswersAreOneLineOfJson) {
    EXPECT_EQ(wispd::ok_line(), R"({"ok":true})");
    EXPECT_EQ(wispd::error_line("no \"such\" node"), R"({"error":"no \"such\" node","ok":false})");
}

TEST(WispdCommand, AppliesToTheCluster) {
    wispd::Cluster cluster(wispd_test::three_nodes());
    EXPECT_THAT(wispd::apply(parse_command_line(R"({"do":"node-down","node":3})"), cluster).node_deaths,
                ElementsAre(3));
    EXPECT_EQ(wispd::apply(parse_command_line(R"({"do":"ffdc","id":"abc"})"), cluster).failure_report, "abc");
    EXPECT_EQ(wispd::apply(parse_command_line(R"({"do":"foreign-instance","address":"1.2.3.4","instance":9})"),
                           cluster)
                  .foreign_instance->instance,
              9u);
    EXPECT_THROW(
        wispd::apply(parse_command_line(R"({"do":"foreign-instance","address":"1.2.3.4","instance":1})"),
                     cluster),
        wispd::Refused);
}

TEST(WispdCommand, WhatClientsCanAskForIsTheSameRequest) {
    const wispd::Cluster cluster(wispd_test::three_nodes());
    const auto request = [&](std::string_view line) {
        return wispd::node_request_of(parse_command_line(line), cluster);
    };
    EXPECT_EQ(request(R"({"do":"node-may-be-down","node":3})")->kind, 203);
    EXPECT_EQ(request(R"({"do":"node-may-be-down","node":3})")->number, 3);
    EXPECT_EQ(request(R"({"do":"adapter-may-be-down","adapter":7})")->kind, 205);
    EXPECT_EQ(request(R"({"do":"adapter-may-be-down","adapter":7})")->number, 7);
    const auto swap = request(R"({"do":"swap-adapters","adapter":3,"address":"10.1.0.1"})");
    EXPECT_EQ(swap->kind, 218);
    EXPECT_EQ(swap->number, 1);
    EXPECT_EQ(wispd::address_text(wispd::mapped(swap->address)), "10.1.0.1");
    EXPECT_THROW(request(R"({"do":"swap-adapters","adapter":4,"address":"10.1.0.1"})"), wispd::Refused);
    EXPECT_THROW(request(R"({"do":"swap-adapters","adapter":3,"address":"fd00::1"})"), wispd::Refused);
    EXPECT_FALSE(request(R"({"do":"node-down","node":3})").has_value());
}

TEST(WispdCommand, HeartbeatKeepsWhatIsNotGiven) {
    wispd::Cluster cluster(wispd_test::three_nodes());
    wispd::apply(parse_command_line(R"({"do":"heartbeat","threshold_seconds":5,"enabled":false})"), cluster);
    EXPECT_EQ(cluster.heartbeat(), (wispd::Heartbeat{5, 0, false}));
    wispd::apply(parse_command_line(R"({"do":"heartbeat","enabled":true})"), cluster);
    EXPECT_EQ(cluster.heartbeat(), (wispd::Heartbeat{5, 0, true}));
}

} // namespace
