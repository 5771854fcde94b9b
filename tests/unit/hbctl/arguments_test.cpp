// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/hbctl/arguments.h"

using namespace hbctl;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

Parsed parse(std::vector<const char *> words) {
    words.insert(words.begin(), "hbctl");
    return parse_arguments(static_cast<int>(words.size()), words.data());
}

Arguments sound(const std::vector<const char *> &words) {
    const Parsed parsed = parse(words);
    EXPECT_EQ(parsed.complaint, "");
    EXPECT_TRUE(parsed.arguments.has_value());
    return parsed.arguments.value_or(Arguments{});
}

// Returns the complaint about wrong usage.
std::string refused(const std::vector<const char *> &words) {
    const Parsed parsed = parse(words);
    EXPECT_FALSE(parsed.arguments.has_value());
    EXPECT_EQ(parsed.exit_status, 2);
    EXPECT_EQ(parsed.output, "");
    EXPECT_THAT(parsed.complaint, StartsWith("hbctl: "));
    return parsed.complaint;
}

} // namespace

TEST(HbctlArguments, EveryVerbIsKnown) {
    EXPECT_EQ(sound({"status"}).verb, Verb::status);
    EXPECT_EQ(sound({"nodes"}).verb, Verb::nodes);
    EXPECT_EQ(sound({"networks"}).verb, Verb::networks);
    EXPECT_EQ(sound({"adapters"}).verb, Verb::adapters);
    EXPECT_EQ(sound({"sites"}).verb, Verb::sites);
    EXPECT_EQ(sound({"watch"}).verb, Verb::watch);
    EXPECT_EQ(sound({"subscribe", "--all-nodes"}).verb, Verb::subscribe);
}

TEST(HbctlArguments, TopHasASizeForOneFrameOnly) {
    EXPECT_EQ(sound({"top"}).verb, Verb::top);
    EXPECT_FALSE(sound({"top"}).top.once);
    const Arguments once = sound({"top", "--once", "--width", "132", "--height", "40"});
    EXPECT_TRUE(once.top.once);
    EXPECT_EQ(once.top.width, 132U);
    EXPECT_EQ(once.top.height, 40U);
    EXPECT_EQ(sound({"top", "--once"}).top.width, std::nullopt);
    EXPECT_TRUE(sound({"top", "--wait"}).limits.wait);
    EXPECT_THAT(refused({"top", "--width", "80"}), HasSubstr("--once"));
    EXPECT_THAT(refused({"top", "--once", "--wait"}), HasSubstr("--once"));
    EXPECT_THAT(refused({"top", "--once", "--width", "19"}), HasSubstr("--width"));
    EXPECT_THAT(refused({"top", "--once", "--height", "4"}), HasSubstr("--height"));
    EXPECT_THAT(refused({"top", "--json"}), HasSubstr("--json"));
}

TEST(HbctlArguments, WatchMigratesAfterSoManyEventsAndAlsoAtOnce) {
    EXPECT_EQ(sound({"watch"}).limits.migrate_after, std::nullopt);
    EXPECT_EQ(sound({"watch", "--migrate-after", "4"}).limits.migrate_after, 4U);
    EXPECT_EQ(sound({"watch", "--migrate-after", "0"}).limits.migrate_after, 0U);
    for (const char *word : {"-1", "1.5", "x", "", "99999999999999999999"}) {
        EXPECT_THAT(refused({"watch", "--migrate-after", word}), HasSubstr("--migrate-after")) << word;
    }
    EXPECT_THAT(refused({"subscribe", "--all-nodes", "--migrate-after", "1"}), HasSubstr("--migrate-after"));
}

TEST(HbctlArguments, ReportHasAFile) {
    EXPECT_EQ(sound({"report"}).verb, Verb::report);
    EXPECT_EQ(sound({"report"}).output, std::nullopt);
    EXPECT_EQ(sound({"report", "--output", "a.tar.gz"}).output, "a.tar.gz");
    EXPECT_THAT(refused({"report", "--output", ""}), HasSubstr("the file's name is empty"));
    EXPECT_THAT(refused({"status", "--output", "a"}), HasSubstr("--output"));
}

TEST(HbctlArguments, TheOptionTreeIsForProgramsThatMakePages) {
    const Parsed parsed = parse({"--option-tree"});
    EXPECT_EQ(parsed.exit_status, 0);
    EXPECT_THAT(parsed.output, HasSubstr("\"name\": \"report\""));
    EXPECT_THAT(parse({"--help"}).output, testing::Not(HasSubstr("option-tree")));
}

TEST(HbctlArguments, MigrateOnlyChecks) {
    EXPECT_EQ(sound({"migrate", "--check"}).verb, Verb::migrate);
    EXPECT_TRUE(sound({"migrate", "--check", "--json"}).json);
    EXPECT_THAT(refused({"migrate"}), HasSubstr("--check is required"));
}

TEST(HbctlArguments, JsonAndSocketMayStandBeforeOrAfterTheVerb) {
    for (const auto &words : {std::vector<const char *>{"--json", "--socket", "/tmp/s", "nodes"},
                              std::vector<const char *>{"nodes", "--json", "--socket", "/tmp/s"}}) {
        const Arguments arguments = sound(words);
        EXPECT_TRUE(arguments.json);
        EXPECT_EQ(arguments.socket, "/tmp/s");
    }
}

TEST(HbctlArguments, WithoutOptionsThereIsNoJsonNoSocketAndNoLimit) {
    const Arguments arguments = sound({"watch"});
    EXPECT_FALSE(arguments.json);
    EXPECT_EQ(arguments.socket, std::nullopt);
    EXPECT_EQ(arguments.limits.count, std::nullopt);
    EXPECT_EQ(arguments.limits.timeout, std::nullopt);
    EXPECT_TRUE(arguments.limits.reconnect);
}

TEST(HbctlArguments, LimitsAreTaken) {
    const Watch_Limits limits = sound({"watch", "--count", "3", "--timeout", "1.5", "--no-reconnect"}).limits;
    EXPECT_EQ(limits.count, 3U);
    EXPECT_EQ(limits.timeout, std::chrono::milliseconds(1500));
    EXPECT_FALSE(limits.reconnect);
}

TEST(HbctlArguments, EveryVerbHasATimeout) {
    EXPECT_EQ(sound({"nodes"}).patience, std::chrono::seconds(10));
    EXPECT_EQ(sound({"nodes", "--timeout", "2.5"}).patience, std::chrono::milliseconds(2500));
    EXPECT_EQ(sound({"--timeout", "3", "grace", "2", "5"}).patience, std::chrono::seconds(3));
    EXPECT_EQ(sound({"--timeout", "3", "watch"}).limits.timeout, std::chrono::seconds(3));
    EXPECT_THAT(refused({"status", "--timeout", "0"}), HasSubstr("--timeout"));
}

TEST(HbctlArguments, WaitNamesWhatAndItsState) {
    const Wait_Condition node = sound({"wait", "node", "3", "--up"}).wait;
    EXPECT_EQ(node.subject, Wait_Subject::node);
    EXPECT_EQ(node.number, 3U);
    EXPECT_TRUE(node.up);
    EXPECT_FALSE(sound({"wait", "daemon", "--down"}).wait.up);
    EXPECT_EQ(sound({"wait", "nodes", "2049", "--up"}).wait.number, 2049U);
    EXPECT_EQ(sound({"wait", "adapter", "98351", "--up", "--timeout", "60"}).patience,
              std::chrono::seconds(60));
    EXPECT_THAT(refused({"wait", "node", "3"}), HasSubstr("--up"));
    EXPECT_THAT(refused({"wait", "node", "3", "--up", "--down"}), HasSubstr("--up"));
    EXPECT_THAT(refused({"wait", "node", "--up"}), HasSubstr("needs a number from 0 to 2048"));
    EXPECT_THAT(refused({"wait", "nodes", "0", "--up"}), HasSubstr("needs a number from 1 to 2049"));
    EXPECT_THAT(refused({"wait", "daemon", "3", "--up"}), HasSubstr("has no number"));
    EXPECT_THAT(refused({"wait", "nodes", "gamma", "--up"}), HasSubstr("needs a number from 1 to 2049"));
    EXPECT_THAT(refused({"wait", "node", "2049", "--up"}),
                HasSubstr("needs a number from 0 to 2048, or a name"));
    EXPECT_EQ(sound({"wait", "node", "gamma", "--up"}).wait.name, "gamma");
    EXPECT_EQ(sound({"wait", "adapter", "gamma/net_a", "--down"}).wait.name, "gamma/net_a");
    EXPECT_EQ(refused({"wait", "goblin", "3", "--up"}),
              "hbctl: wait needs node, adapter, nodes or daemon, not 'goblin'\n");
    EXPECT_EQ(refused({"wait"}), "hbctl: wait needs node, adapter, nodes or daemon\n");
    EXPECT_EQ(parse({"wait", "--help"}).exit_status, 0);
}

TEST(HbctlArguments, ListsHaveColumns) {
    EXPECT_TRUE(sound({"nodes"}).table.headings);
    EXPECT_THAT(sound({"nodes"}).table.columns, testing::IsEmpty());
    const Table_Choice table = sound({"nodes", "--no-headers", "--columns", "state,NAME"}).table;
    EXPECT_FALSE(table.headings);
    EXPECT_THAT(table.columns, ElementsAre("STATE", "NAME"));
    EXPECT_THAT(sound({"adapter-state", "--columns", "STATE"}).table.columns, ElementsAre("STATE"));
    EXPECT_THAT(refused({"nodes", "--columns", "NAME,COLOUR"}),
                HasSubstr("'COLOUR' is not a column; expected NODE, NAME, LOCAL, STATE, ADAPTERS, ADDRESSES"));
    EXPECT_THAT(refused({"networks", "--columns", ""}),
                HasSubstr("'' is not a column; expected NETWORK, NAME, TYPE, ADAPTERS, UP"));
    EXPECT_THAT(refused({"status", "--columns", "NAME"}), HasSubstr("--columns"));
    EXPECT_THAT(refused({"nodes", "--json", "--columns", "NAME"}), HasSubstr("--json"));
    EXPECT_THAT(refused({"nodes", "--json", "--no-headers"}), HasSubstr("--json"));
}

TEST(HbctlArguments, AMistakeInCheckIsAlsoOneLineForTheMonitoringSystem) {
    const Parsed json = parse({"--json", "check"});
    EXPECT_FALSE(json.arguments.has_value());
    EXPECT_EQ(json.exit_status, 3);
    EXPECT_EQ(json.output, "CLUSTER UNKNOWN - --json: cannot be used with check: 'status' prints JSON\n");
    EXPECT_THAT(json.complaint, StartsWith("hbctl: --json: cannot be used with check"));
    const Parsed bar = parse({"check", "--warning", "a|b\x1b"});
    EXPECT_EQ(bar.exit_status, 3);
    EXPECT_THAT(bar.output, StartsWith("CLUSTER UNKNOWN - --warning: "));
    EXPECT_THAT(bar.output, testing::Not(testing::AnyOf(HasSubstr("|"), HasSubstr("\x1b"))));
    EXPECT_EQ(std::count(bar.output.begin(), bar.output.end(), '\n'), 1);
    EXPECT_EQ(parse({"check", "--help"}).exit_status, 0);
}

TEST(HbctlArguments, LinesOfWatchCanBeShortOrHaveDates) {
    EXPECT_FALSE(sound({"watch"}).limits.short_lines);
    EXPECT_TRUE(sound({"watch", "--short"}).limits.short_lines);
    EXPECT_TRUE(sound({"subscribe", "--all-nodes", "--date"}).limits.dates);
    EXPECT_THAT(refused({"watch", "--short", "--json"}), HasSubstr("--json"));
}

TEST(HbctlArguments, WatchRunsACommandAndWaitsForTheDaemon) {
    EXPECT_EQ(sound({"watch", "--exec", "cat"}).limits.command, "cat");
    EXPECT_EQ(sound({"watch"}).limits.command, std::nullopt);
    EXPECT_THAT(refused({"watch", "--exec", ""}), HasSubstr("the command is empty"));
    EXPECT_TRUE(sound({"subscribe", "--all-nodes", "--wait"}).limits.wait);
    EXPECT_FALSE(sound({"watch"}).limits.wait);
}

TEST(HbctlArguments, ATimeoutBelowAMillisecondStillEndsTheCommand) {
    EXPECT_EQ(sound({"watch", "--timeout", "0.0001"}).limits.timeout, std::chrono::milliseconds(1));
}

TEST(HbctlArguments, LimitsThatAreNoPositiveNumbersAreMisuse) {
    EXPECT_THAT(refused({"watch", "--count", "0"}), HasSubstr("--count"));
    EXPECT_THAT(refused({"watch", "--count", "-1"}), HasSubstr("--count"));
    EXPECT_THAT(refused({"watch", "--count", "many"}), HasSubstr("--count"));
    EXPECT_THAT(refused({"watch", "--timeout", "0"}), HasSubstr("--timeout"));
    EXPECT_THAT(refused({"watch", "--timeout", "nan"}), HasSubstr("--timeout"));
    EXPECT_THAT(refused({"watch", "--timeout", "1e300"}), HasSubstr("--timeout"));
}

TEST(HbctlArguments, NoVerbAnUnknownVerbAndAnUnknownOptionAreMisuse) {
    EXPECT_THAT(refused({}), HasSubstr("a command is required"));
    EXPECT_EQ(refused({"gaze"}), "hbctl: unknown command 'gaze'; hbctl --help lists them\n");
    EXPECT_EQ(refused({"--gaze"}), "hbctl: unknown option '--gaze'; hbctl --help lists them\n");
    EXPECT_THAT(refused({"nodes", "--colour"}), HasSubstr("--colour"));
    EXPECT_THAT(refused({"nodes", "--count", "1"}), HasSubstr("--count"));
    EXPECT_THAT(refused({"nodes", "extra"}), HasSubstr("extra"));
    EXPECT_THAT(refused({"--socket", "", "nodes"}), HasSubstr("the socket's path is empty"));
}

TEST(HbctlArguments, TwoVerbsAreMisuse) {
    refused({"nodes", "adapters"});
}

TEST(HbctlArguments, HelpAndVersionGoToTheOutputAndSucceed) {
    for (const char *option : {"--help", "-h"}) {
        const Parsed help = parse({option});
        EXPECT_EQ(help.exit_status, 0);
        EXPECT_EQ(help.complaint, "");
        EXPECT_THAT(help.output, HasSubstr("subscribe"));
        EXPECT_THAT(help.output, HasSubstr("HB_SERVER_SOCKET"));
        EXPECT_FALSE(help.arguments.has_value());
    }
    const Parsed version = parse({"--version"});
    EXPECT_EQ(version.exit_status, 0);
    EXPECT_EQ(version.output.substr(0, 6), "hbctl ");
    EXPECT_FALSE(version.arguments.has_value());
}

TEST(HbctlArguments, HelpOfAVerbTellsItsOptions) {
    const Parsed help = parse({"subscribe", "--help"});
    EXPECT_EQ(help.exit_status, 0);
    EXPECT_THAT(help.output, HasSubstr("--network"));
    EXPECT_THAT(help.output, HasSubstr("death, join, new-group, heartbeat"));
}

TEST(HbctlArguments, NodesToSubscribeToComeAsAList) {
    const Subscription_Request request = sound({"subscribe", "--nodes", "1,5-7,2"}).subscription;
    EXPECT_EQ(request.selection, Selection::nodes);
    EXPECT_EQ(request.members, (std::vector<Member_Word>{{1, ""}, {5, ""}, {6, ""}, {7, ""}, {2, ""}}));
    EXPECT_EQ(sound({"subscribe", "--nodes", "beta"}).subscription.members,
              (std::vector<Member_Word>{{0, "beta"}}));
    EXPECT_EQ(request.name, "hbctl");
    EXPECT_EQ(request.events, 1 + 2 + 4);
}

TEST(HbctlArguments, TheOtherSelections) {
    EXPECT_EQ(sound({"subscribe", "--all-nodes"}).subscription.selection, Selection::all_nodes);
    EXPECT_EQ(sound({"subscribe", "--all-adapters"}).subscription.selection, Selection::all_adapters);
    const Subscription_Request adapters = sound({"subscribe", "--adapters", "98351"}).subscription;
    EXPECT_EQ(adapters.selection, Selection::adapters);
    EXPECT_EQ(adapters.members, (std::vector<Member_Word>{{98351, ""}}));
    const Subscription_Request network = sound({"subscribe", "--network", "net_a"}).subscription;
    EXPECT_EQ(network.selection, Selection::network);
    EXPECT_EQ(network.network, "net_a");
    const Subscription_Request sites = sound({"subscribe", "--sites"}).subscription;
    EXPECT_EQ(sites.selection, Selection::sites);
    EXPECT_EQ(sites.events, 96);
    const Subscription_Request instance = sound({"subscribe", "--different-instance"}).subscription;
    EXPECT_EQ(instance.selection, Selection::different_instance);
    EXPECT_EQ(instance.events, 256);
}

TEST(HbctlArguments, EventsAreNamed) {
    EXPECT_EQ(sound({"subscribe", "--all-nodes", "--events", "death"}).subscription.events, 1);
    EXPECT_EQ(sound({"subscribe", "--all-nodes", "--events", "join,new-group"}).subscription.events, 2 + 4);
    EXPECT_EQ(sound({"subscribe", "--nodes", "1", "--events", "heartbeat"}).subscription.events, 512);
}

TEST(HbctlArguments, EventsThatCannotBeMeantAreMisuse) {
    EXPECT_THAT(
        refused({"subscribe", "--all-nodes", "--events", "birth"}),
        HasSubstr("'birth' is not an event to subscribe to; expected death, join, new-group, heartbeat"));
    EXPECT_THAT(refused({"subscribe", "--all-nodes", "--events", ""}), HasSubstr("no event is named"));
    EXPECT_THAT(refused({"subscribe", "--all-nodes", "--events", "death,,join"}),
                HasSubstr("'' is not an event"));
    EXPECT_THAT(refused({"subscribe", "--all-adapters", "--events", "heartbeat"}),
                HasSubstr("--all-nodes only"));
    EXPECT_THAT(refused({"subscribe", "--sites", "--events", "death"}), HasSubstr("--events"));
}

TEST(HbctlArguments, ExactlyOneSelectionIsWanted) {
    refused({"subscribe"});
    refused({"subscribe", "--all-nodes", "--all-adapters"});
    refused({"subscribe", "--nodes", "1", "--network", "0"});
}

TEST(HbctlArguments, NumbersOutOfRangeAndBadListsAreMisuse) {
    EXPECT_THAT(refused({"subscribe", "--nodes", "2049"}), HasSubstr("the highest number is 2048"));
    EXPECT_THAT(refused({"subscribe", "--adapters", "98352"}), HasSubstr("the highest number is 98351"));
    EXPECT_THAT(refused({"subscribe", "--nodes", "1,"}), HasSubstr("'' is not a number or a range"));
    EXPECT_THAT(refused({"subscribe", "--nodes", ""}), HasSubstr("--nodes"));
    EXPECT_THAT(refused({"subscribe", "--network", ""}), HasSubstr("the network is empty"));
}

TEST(HbctlArguments, ANameHasAtMost31Bytes) {
    const std::string longest(31, 'n');
    const std::string longer(32, 'n');
    EXPECT_EQ(sound({"subscribe", "--all-nodes", "--name", longest.c_str()}).subscription.name, longest);
    EXPECT_THAT(refused({"subscribe", "--all-nodes", "--name", longer.c_str()}), HasSubstr("1 to 31 bytes"));
    EXPECT_THAT(refused({"subscribe", "--all-nodes", "--name", ""}), HasSubstr("1 to 31 bytes"));
}
