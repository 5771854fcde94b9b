// SPDX-License-Identifier: Apache-2.0
// The examples of docs/protocol.md. The library sends the documented bytes, and understands them as the
// document says. The numbers and texts here are typed from the document.
#include <cstring>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/protocol/hex_examples.h"
#include "tests/protocol/route_call.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"

namespace hb_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t CONFIGURATION_REQUEST = 80; // bytes that opening has sent
constexpr pid_t DOCUMENTED_PROCESS = 4711;

const Hex_Examples &document() {
    static const Hex_Examples examples = [] {
        std::ifstream file(HB_PROTOCOL_DOCUMENT);
        EXPECT_TRUE(file.is_open()) << HB_PROTOCOL_DOCUMENT;
        return read_hex_examples(std::string(std::istreambuf_iterator<char>(file), {}));
    }();
    return examples;
}

// Returns one example's bytes, without the preceding length. A missing example fails the test.
Bytes example(const std::string &name) {
    const auto found = document().examples.find(name);
    EXPECT_NE(found, document().examples.end()) << "docs/protocol.md has no example \"" << name << '"';
    return found != document().examples.end() ? found->second.bytes : Bytes();
}

// The cluster of the document, with its segments.
Fake_Daemon_Plan documented_daemon() {
    Fake_Daemon_Plan plan;
    plan.connections = {{read_record(), send_record(example("configuration"))}};
    plan.segments = segments_for(4);
    plan.segments.configuration.content = example("shared-header");
    plan.segments.routes.content = Bytes().zeros(2 * 184).add(example("shared-route"));
    plan.segments.security.content = example("shared-security");
    return plan;
}

void open_as_documented() {
    open_library();
    client_pid = DOCUMENTED_PROCESS;
}

// Returns whether the example is the first thing that the library has sent since it was opened.
testing::AssertionResult sent_as_documented(Fake_Daemon &daemon, const std::string &name) {
    const Bytes expected = frame(example(name));
    return same_bytes(
        expected, daemon.wait_received(CONFIGURATION_REQUEST + expected.size()).from(CONFIGURATION_REQUEST));
}

// Reads the example as an event.
Event_Call event_of(Fake_Daemon &daemon, const std::string &name) {
    daemon.run(send_record(example(name)));
    Event_Call call;
    EXPECT_EQ(Hb_Success, call.take()) << "error " << hb_get_errno();
    return call;
}

Hb_IP_address4 ipv4_address(const Bytes &bytes) {
    Hb_IP_address4 address;
    std::memcpy(&address, bytes.data(), sizeof address);
    return address;
}

// ---- Reading the examples ----

TEST(HexExamples, AreBytesBehindTheirOffsetsAndTheirLength) {
    const Hex_Examples read = read_hex_examples("text\n"
                                                "```hex first\n"
                                                "----  06 00 00 00   length: 6 bytes follow\n"
                                                "0000  01 02*3       meaning 04\n"
                                                "0004  FF 00\n"
                                                "```\n"
                                                "```text\n0000  77\n```\n");
    EXPECT_THAT(read.faults, IsEmpty());
    ASSERT_EQ(1U, read.examples.size());
    EXPECT_EQ((Bytes{1, 2, 2, 2, 0xFF, 0}), read.examples.at("first").bytes);
    EXPECT_TRUE(read.examples.at("first").is_framed);
}

TEST(HexExamples, AWrongOffsetIsSaid) {
    EXPECT_THAT(read_hex_examples("```hex one\n0000  01 02\n0003  04\n```\n").faults,
                ElementsAre("one: 2 bytes come before: 0003  04"));
}

TEST(HexExamples, AWrongLengthIsSaid) {
    EXPECT_THAT(read_hex_examples("```hex one\n----  03 00 00 00\n0000  01 02\n```\n").faults,
                ElementsAre("one: the length says 3, and 2 bytes follow"));
}

TEST(HexExamples, ALineThatIsNoneAndANameGivenTwiceAreSaid) {
    EXPECT_THAT(
        read_hex_examples("```hex one\n0000  1\n```\n```hex one\n0000  01\n```\n").faults,
        ElementsAre("one: this is no line of bytes: 0000  1", "one: there are two examples of this name"));
}

// ---- The document ----

TEST(Document, ItsExamplesHoldTogether) {
    EXPECT_THAT(document().faults, IsEmpty());
}

// Every example has a test below, and its name stands here.
TEST(Document, HasTheExamplesThatAreTestedAndNoOthers) {
    std::vector<std::string> framed;
    std::vector<std::string> shared;
    for (const auto &[name, found] : document().examples) {
        (found.is_framed ? framed : shared).push_back(name);
    }
    EXPECT_THAT(framed, ElementsAre("adapter-death", "adapter-group", "answer", "configuration", "failure",
                                    "heartbeat", "multicast", "node-death", "other-instance",
                                    "request-with-answer", "request-without-body", "route-reply",
                                    "route-request", "subscription", "suspicion", "unsubscription"));
    EXPECT_THAT(shared, ElementsAre("shared-header", "shared-route", "shared-security"));
}

// ---- Requests ----

ISOLATED_TEST(DocumentedRequest, WithoutABody) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    EXPECT_EQ(Hb_Success, hb_discard_stale_messages(1));
    EXPECT_TRUE(sent_as_documented(daemon, "request-without-body"));
}

ISOLATED_TEST(DocumentedRequest, WithItsNumberAsTheLength) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    EXPECT_EQ(Hb_Success, hb_node_is_down(2));
    EXPECT_TRUE(sent_as_documented(daemon, "suspicion"));
}

ISOLATED_TEST(DocumentedRequest, WithAnAnswer) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    daemon.run(send_record(example("answer")));
    EXPECT_EQ(Hb_Failure, hb_configure_adapter(2, ipv4_address({10, 1, 0, 7})));
    EXPECT_EQ(50, hb_get_errno());
    EXPECT_TRUE(sent_as_documented(daemon, "request-with-answer"));
}

ISOLATED_TEST(DocumentedRequest, ForARoute) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    daemon.run(send_record(example("route-reply")));
    const Route_Call call(hb_get_route, 2);
    EXPECT_EQ(Hb_Success, call.result);
    EXPECT_EQ(2U, call.length);
    EXPECT_EQ(ipv4(10, 1, 0, 1).add(ipv4(10, 1, 0, 2)).zeros(144), call.route);
    EXPECT_TRUE(sent_as_documented(daemon, "route-request"));
}

ISOLATED_TEST(DocumentedRequest, ForAMulticast) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    char text[] = "hello";
    const iovec buffer = {text, 5};
    int nodes[] = {2};
    EXPECT_EQ(Hb_Success, hb_daemon_route_mcast(&buffer, 1, 7001, nodes, 1));
    EXPECT_TRUE(sent_as_documented(daemon, "multicast"));
}

ISOLATED_TEST(DocumentedRequest, ForASubscription) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    Hb_Subscription_Group group = {};
    ASSERT_EQ(Hb_Success, hb_empty_subscription_group(&group));
    ASSERT_EQ(Hb_Success, hb_add_node_to_subscription_group(&group, 2));
    char name[] = "pair";
    EXPECT_EQ(Hb_Success, hb_subscribe(name, &group, 7));
    EXPECT_TRUE(sent_as_documented(daemon, "subscription"));
}

ISOLATED_TEST(DocumentedRequest, ForTheEndOfASubscription) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    EXPECT_EQ(Hb_Success, hb_unsubscribe("pair"));
    EXPECT_TRUE(sent_as_documented(daemon, "unsubscription"));
}

// ---- Events ----

ISOLATED_TEST(DocumentedEvent, OfAnAdapterGroup) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    const Event_Call call = event_of(daemon, "adapter-group");
    EXPECT_EQ(4, call.events);
    EXPECT_EQ("pair", call.name_text());
    EXPECT_EQ(1U, call.sequence);
    EXPECT_EQ(0, call.group->Hb_group_status);
    const auto &members = call.group->Hb_membership_grp_union.Hb_adapter_membership_grp;
    EXPECT_EQ(2, members.Hb_num_adapters);
    EXPECT_EQ(2U, members.Hb_group_leader);
    EXPECT_EQ(9U, members.Hb_group_incarnation);
    EXPECT_EQ(1U, members.Hb_adapter_list[2]);
    EXPECT_EQ(3U, members.Hb_adapter_list[4]);
    EXPECT_EQ(0xFFFFFFFFU, members.Hb_adapter_list[3]);
}

ISOLATED_TEST(DocumentedEvent, OfAnAdapterThatDies) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    const Event_Call call = event_of(daemon, "adapter-death");
    EXPECT_EQ(1, call.events);
    EXPECT_EQ("pair", call.name_text());
    EXPECT_EQ(3U, call.sequence);
    Hb_Adapter_Identifier dead;
    ASSERT_EQ(Hb_Success, hb_get_first_adapter(call.group.get(), &dead));
    EXPECT_EQ(4U, dead.Hb_adapter_number);
    EXPECT_EQ(1U, dead.Hb_incarnation);
    EXPECT_EQ(1, dead.Hb_died_because_removed);
    EXPECT_EQ(Hb_Failure, hb_get_next_adapter(call.group.get(), &dead)) << "it is the only one";
    EXPECT_EQ(Hb_Entity_Down, adapter_state(4));
}

ISOLATED_TEST(DocumentedEvent, OfANodeThatDies) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    const Event_Call call = event_of(daemon, "node-death");
    EXPECT_EQ(1, call.events);
    EXPECT_EQ("pair", call.name_text());
    EXPECT_EQ(4U, call.sequence);
    Hb_Node_Number dead = 0;
    ASSERT_EQ(Hb_Success, hb_get_first_node(call.group.get(), &dead));
    EXPECT_EQ(2, dead);
    EXPECT_EQ(Hb_Failure, hb_get_next_node(call.group.get(), &dead)) << "it is the only one";
    Hb_FFDC_Id identifier;
    ASSERT_EQ(Hb_Success, hb_get_FFDC_id(call.group.get(), &identifier));
    EXPECT_STREQ("20261121T040736Z-00006fa4-1f67f051ced8946d", identifier);
}

ISOLATED_TEST(DocumentedEvent, OfHeartbeatSettings) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    const Event_Call call = event_of(daemon, "heartbeat");
    EXPECT_EQ(512, call.events);
    EXPECT_EQ("pair", call.name_text());
    EXPECT_EQ(5U, call.sequence);
    Hb_Client_Hb_Info settings;
    ASSERT_EQ(Hb_Success, hb_get_client_hb_info(&settings));
    EXPECT_EQ(2, settings.client_hb_thresh.tv_sec);
    EXPECT_EQ(500000, settings.client_hb_thresh.tv_usec);
    EXPECT_EQ(1, settings.client_hb_is_enabled);
    EXPECT_EQ(815, settings.client_hb_daemon_pid);
}

ISOLATED_TEST(DocumentedEvent, OfAnotherInstance) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    const Event_Call call = event_of(daemon, "other-instance");
    EXPECT_EQ(256, call.events);
    EXPECT_EQ("pair", call.name_text());
    EXPECT_EQ(6U, call.sequence);
    diff_instance_info sender;
    ASSERT_EQ(Hb_Success, hb_get_different_instance_sender(call.group.get(), &sender));
    EXPECT_EQ(ipv4(10, 1, 0, 99), bytes_of(sender.addr));
    EXPECT_EQ(7U, sender.machinesInst);
}

ISOLATED_TEST(DocumentedEvent, OfAFailureIdentifier) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    const Event_Call call = event_of(daemon, "failure");
    EXPECT_EQ(8, call.events);
    EXPECT_EQ("Hb_FFDC_Group", call.name_text());
    EXPECT_EQ(7U, call.sequence);
    Hb_FFDC_Id identifier;
    ASSERT_EQ(Hb_Success, hb_get_FFDC_id(call.group.get(), &identifier));
    EXPECT_STREQ("20261121T040748Z-00006fa4-491bbe3403731db6", identifier);
}

// ---- The configuration ----

ISOLATED_TEST(DocumentedConfiguration, IsTheClusterOfTheExamples) {
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    EXPECT_EQ(1, global_config_tbl.local_node_number);
    EXPECT_EQ(4, global_config_tbl.Hb_max_nodes);
    EXPECT_EQ(2, global_config_tbl.Hb_adapters_per_node);
    ASSERT_EQ(2, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(1, global_config_tbl.Hb_num_networks);
    for (const unsigned node : {1U, 2U}) {
        const Hb_Adapter_Entry *adapter = hb_get_adap_entry(2 * node);
        EXPECT_EQ(2 * node, adapter->Hb_adapter_num);
        EXPECT_EQ(ipv4(10, 1, 0, node), bytes_of(adapter->Hb_ip_address));
        EXPECT_EQ(0, adapter->Hb_network);
        EXPECT_STREQ("eth0", adapter->Hb_adapter_type);
        EXPECT_EQ(Hb_Entity_Up, adapter->Hb_state);
        EXPECT_EQ(Hb_True, global_node_tbl[node]);
    }
    EXPECT_STREQ("net_a", global_config_tbl.Hb_global_network_list[0].Hb_network_name);
    EXPECT_STREQ("ether", global_config_tbl.Hb_global_network_list[0].Hb_network_type);
}

// ---- Shared memory ----

ISOLATED_TEST(DocumentedSegments, TellTheRouteToNodeTwoAndNoOther) {
    EXPECT_EQ(12U, example("shared-header").size());
    EXPECT_EQ(184U, example("shared-route").size());
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    const Route_Call call(hb_read_ip_route, 2);
    EXPECT_EQ(Hb_Success, call.result);
    EXPECT_EQ(2U, call.length);
    EXPECT_EQ(ipv4(10, 1, 0, 1).add(ipv4(10, 1, 0, 2)).zeros(144), call.route);
    EXPECT_EQ(6, Route_Call(hb_read_route, 1).error) << "a record of another generation";
    EXPECT_EQ(7U, data_for_client->sequence_number);
    EXPECT_EQ(4U, data_for_client->number_of_nodes);
    EXPECT_EQ(2U, data_for_client->number_of_adapters);
}

ISOLATED_TEST(DocumentedSegments, HoldOneKeyInForce) {
    EXPECT_EQ(3168U, example("shared-security").size());
    Fake_Daemon daemon(documented_daemon());
    open_as_documented();
    Hb_Sequence_Number generation = 0;
    ASSERT_EQ(Hb_Success, hb_get_security_sequence(&generation));
    EXPECT_EQ(2U, generation);
    Hb_Security_Status current;
    Hb_Security_Status previous;
    Hb_Key_Cache cache;
    ASSERT_EQ(Hb_Success, hb_get_security_infomation(&current, &previous, &cache));
    EXPECT_EQ(1, current.securityOn);
    EXPECT_EQ(1, current.keyCount);
    EXPECT_EQ(0, current.KLOM_compatible);
    EXPECT_EQ(1, current.is_valid_for_signing);
    EXPECT_EQ(1, current.is_valid_for_authenticating);
    EXPECT_EQ(1U, current.key.type);
    ASSERT_EQ(16, current.key.length);
    EXPECT_EQ(
        (Bytes{0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F}),
        bytes_of(current.key.value, 16));
    EXPECT_EQ(0, previous.securityOn);
    EXPECT_EQ(0, previous.key.length);
    EXPECT_EQ(0U, cache.keyCacheCount);
    hb_free_security_info_keys(&current, &previous, &cache);
}

} // namespace
} // namespace hb_test
