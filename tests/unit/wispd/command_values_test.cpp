// SPDX-License-Identifier: Apache-2.0
// Values of commands: heartbeat settings given in part, failure identifiers.
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/cluster.h"
#include "cluster/description/command.h"
#include "cluster/description/command_json.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using wispd::Cluster;
using wispd_test::three_nodes;

template <typename Error> std::string error_of(const std::function<void()> &action) {
    try {
        action();
    } catch (const Error &error) {
        return error.what();
    }
    return "it succeeded";
}

void heartbeat(Cluster &cluster, const wispd::Arguments &arguments) {
    wispd::apply(wispd::make_command("heartbeat", arguments), cluster);
}

TEST(WispdHeartbeat, MicrosecondsAloneKeepTheSeconds) {
    Cluster cluster(three_nodes());
    heartbeat(cluster, {{"threshold_seconds", int64_t{5}}, {"threshold_microseconds", int64_t{7}}});
    heartbeat(cluster, {{"threshold_microseconds", int64_t{250000}}});
    EXPECT_EQ(cluster.heartbeat(), (wispd::Heartbeat{5, 250000, true}));
}

TEST(WispdHeartbeat, SecondsAloneKeepTheMicroseconds) {
    Cluster cluster(three_nodes());
    heartbeat(cluster, {{"threshold_seconds", int64_t{5}}, {"threshold_microseconds", int64_t{7}}});
    heartbeat(cluster, {{"threshold_seconds", int64_t{9}}});
    EXPECT_EQ(cluster.heartbeat(), (wispd::Heartbeat{9, 7, true}));
}

TEST(WispdHeartbeat, ZeroIsAValueLikeAnother) {
    Cluster cluster(three_nodes());
    heartbeat(cluster, {{"threshold_seconds", int64_t{5}}, {"threshold_microseconds", int64_t{7}}});
    heartbeat(cluster, {{"threshold_seconds", int64_t{0}}});
    EXPECT_EQ(cluster.heartbeat(), (wispd::Heartbeat{0, 7, true}));
}

std::string refusal_of_identifier(const std::string &id) {
    return error_of<wispd::Command_Error>([&id] { wispd::make_command("ffdc", {{"id", id}}); });
}

TEST(WispdFailureIdentifier, WithANonAsciiCharacterIsRefusedAndNamed) {
    for (const char *id : {"f\xC3\xA9hler", "caf\xE9", "\x80", "a\x7F"}) {
        EXPECT_EQ(refusal_of_identifier(id), "\"" + std::string(id) +
                                                 "\" is not a failure identifier; expected 1 to 42 printable "
                                                 "ASCII characters");
    }
}

TEST(WispdFailureIdentifier, WithAControlCharacterIsRefusedAndNamed) {
    for (const std::string &id : {std::string("a\nb"), std::string("\x01"), std::string("a\0b", 3)}) {
        EXPECT_EQ(refusal_of_identifier(id), "'id' must be text of 1 to 42 printable bytes");
    }
}

TEST(WispdFailureIdentifier, OnTheControlSocketIsRefusedAsWell) {
    const auto error = [](const char *line) {
        return error_of<wispd::Command_Error>([line] { wispd::parse_command_line(line); });
    };
    EXPECT_THAT(error(R"({"do":"ffdc","id":"f\u00e9hler"})"),
                StartsWith("\"f\xC3\xA9hler\" is not a failure identifier"));
    EXPECT_THAT(error(R"({"do":"ffdc","id":"a\tb"})"), HasSubstr("'id'"));
}

TEST(WispdFailureIdentifier, OfEveryPrintableCharacterIsTaken) {
    for (char character = 0x20; character < 0x7F; ++character) {
        const std::string id = std::string("x") + character;
        EXPECT_EQ(wispd::make_command("ffdc", {{"id", id}}).id, id);
    }
    const std::string longest(42, 'i');
    EXPECT_EQ(wispd::make_command("ffdc", {{"id", longest}}).id, longest);
    EXPECT_EQ(wispd::make_command("ffdc", {}).id, "") << "one is made then";
}

} // namespace
