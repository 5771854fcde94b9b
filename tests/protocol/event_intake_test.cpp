// SPDX-License-Identifier: Apache-2.0
// Events, byte for byte, and their effect on the caller's group record and on the library's tables.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/api/hb_membership.h"
#include "tests/protocol/client.h"
#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"
#include "tests/support/signal_pelter.h"
#include "utils/utils.h"

namespace hb_test {
namespace {

constexpr const char *FAILURE = "a.failure.identifier";

Reply_Header event(int kind) {
    Reply_Header header;
    header.kind = kind;
    header.leader[0] = 4;
    header.leader[1] = 0x11111111;
    header.group_id[0] = 0x22222222;
    header.group_id[1] = 0x33333333;
    header.group_status = 0;
    header.subscription_name = "my subscription";
    header.value = 0x44444444;
    header.ffdc_id = FAILURE;
    header.sequence = 0x01020304;
    return header;
}

Bytes name_field(const std::string &text) {
    return Bytes().raw(text).u8(0);
}

// The name is written with its NUL. Bytes after the first 32 are not changed.
void expect_name(const Event_Call &call, const std::string &text) {
    EXPECT_EQ(name_field(text), call.name_bytes().first(text.size() + 1));
    EXPECT_EQ(Bytes().fill(16, UNTOUCHED), call.name_bytes().from(32));
}

// The group after an adapter event in the small cluster, whose adapter numbers end at 15.
Bytes adapter_group(int event_bits, int64_t count, int64_t leader, int64_t incarnation, int64_t status,
                    const std::vector<std::pair<std::size_t, int64_t>> &members) {
    Bytes group = untouched_group();
    group.put_i32(GROUP_TYPE, 1).put_i32(GROUP_EVENTS, event_bits).put_i32(GROUP_STATUS, status);
    group.put(GROUP_FFDC, Bytes().zeros(43));
    group.put_i32(GROUP_COUNT, count).put_i32(GROUP_LEADER, leader).put_i32(GROUP_INCARNATION, incarnation);
    group.put(GROUP_ADAPTERS, Bytes().fill(16 * 4, 0xFF));
    for (const auto &[adapter, entry] : members) {
        group.put_i32(GROUP_ADAPTERS + 4 * adapter, entry);
    }
    return group;
}

// ---- Adapter events ----

ISOLATED_TEST(AdapterEvent, ADeathWrittenOutInBytes) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_raw({
        128,  0,   0,   0,                                             // length 108 + 20
        2,    0,   0,   0,                                             // adapter death
        4,    0,   0,   0,   5,    0, 0, 0,                            // leader
        6,    0,   0,   0,   7,    0, 0, 0,                            // group
        0,    0,   0,   0,                                             // stable, it says
        's',  'u', 'b', 0,   0,    0, 0, 0,    0, 0, 0, 0, 0, 0, 0, 0, // subscription
        0,    0,   0,   0,   0,    0, 0, 0,    0, 0, 0, 0, 0, 0, 0, 0, //
        9,    0,   0,   0,                                             // value
        'f',  'f', 'd', 'c', 0,    0, 0, 0,    0, 0, 0, 0, 0, 0, 0, 0, // failure identifier, 43 bytes
        0,    0,   0,   0,   0,    0, 0, 0,    0, 0, 0, 0, 0, 0, 0, 0, //
        0,    0,   0,   0,   0,    0, 0, 0,    0, 0, 0,                //
        0,                                                             // padding
        0x2A, 0,   0,   0,                                             // sequence number
        1,    0,   0,   0,                                             // last: two pairs
        3,    0,   0,   0,   0x10, 0, 0, 0,                            // adapter 3, incarnation 16
        8,    0,   0,   0,   0x11, 0, 0, 0x08,                         // adapter 8, removed, incarnation 17
    }));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(1, call.events);
    EXPECT_EQ(42U, call.sequence);
    expect_name(call, "sub");
    const Bytes expected = adapter_group(1, 2, 0xFFFFFFFF, 0xFFFFFFFF, 1, {{3, 0x10}, {8, 0x08000011}});
    EXPECT_TRUE(same_bytes(expected, call.group_bytes()));
    EXPECT_EQ(Hb_Entity_Down, adapter_state(3));
    EXPECT_EQ(Hb_Entity_Down, adapter_state(8));
    EXPECT_EQ(Hb_Entity_Up, adapter_state(2)) << "the others keep their state";
    EXPECT_EQ(Hb_Entity_Up, adapter_state(4));
}

ISOLATED_TEST(AdapterEvent, ADeathLeavesNoLeaderNoIncarnationAndAnUnstableGroup) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(2), adapter_body({{2, 7}}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    const auto &members = call.group->Hb_membership_grp_union.Hb_adapter_membership_grp;
    EXPECT_EQ(0xFFFFFFFFU, members.Hb_group_leader);
    EXPECT_EQ(0xFFFFFFFFU, members.Hb_group_incarnation);
    EXPECT_EQ(1, call.group->Hb_group_status);
}

ISOLATED_TEST(AdapterEvent, AJoin) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(3), adapter_body({{5, 0x77}, {8, 0}}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(2, call.events);
    EXPECT_EQ(0x01020304U, call.sequence);
    expect_name(call, "my subscription");
    EXPECT_TRUE(
        same_bytes(adapter_group(2, 2, 0xFFFFFFFF, 0xFFFFFFFF, 1, {{5, 0x77}, {8, 0}}), call.group_bytes()));
    EXPECT_EQ(Hb_Entity_Up, adapter_state(5));
    EXPECT_EQ(Hb_Entity_Up, adapter_state(8));
}

ISOLATED_TEST(AdapterEvent, ANewGroupCarriesLeaderIncarnationAndStatus) {
    Fake_Daemon daemon;
    open_library();
    Reply_Header header = event(4);
    for (const int64_t status : {0, 1, 7}) {
        header.group_status = status;
        daemon.run(send_record(reply(header, adapter_body({{2, 1}, {4, 2}, {8, 3}}))));
        Event_Call call;
        ASSERT_EQ(Hb_Success, call.take());
        EXPECT_EQ(4, call.events);
        EXPECT_TRUE(same_bytes(adapter_group(4, 3, 4, 0x33333333, status, {{2, 1}, {4, 2}, {8, 3}}),
                               call.group_bytes()));
    }
    EXPECT_EQ(Hb_Entity_Up, adapter_state(8));
}

ISOLATED_TEST(AdapterEvent, ACountOfZeroCarriesOnePair) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(3), Bytes().i32(0).i32(4).i32(0x99))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_TRUE(same_bytes(adapter_group(2, 1, 0xFFFFFFFF, 0xFFFFFFFF, 1, {{4, 0x99}}), call.group_bytes()));
}

ISOLATED_TEST(AdapterEvent, ACountOfMinusOneCarriesNone) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(2), Bytes().i32(-1))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_TRUE(same_bytes(adapter_group(1, 0, 0xFFFFFFFF, 0xFFFFFFFF, 1, {}), call.group_bytes()));
}

ISOLATED_TEST(AdapterEvent, BytesBehindTheLastPairAreIgnored) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(2), Bytes().i32(0).i32(4).i32(1).i32(5).i32(2).u8(3))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_TRUE(same_bytes(adapter_group(1, 1, 0xFFFFFFFF, 0xFFFFFFFF, 1, {{4, 1}}), call.group_bytes()));
    EXPECT_EQ(Hb_Entity_Down, adapter_state(5)) << "as the configuration said";
}

ISOLATED_TEST(AdapterEvent, AnAdapterNamedTwiceHasTheLaterIncarnation) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(2), adapter_body({{4, 1}, {4, 2}}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_TRUE(same_bytes(adapter_group(1, 2, 0xFFFFFFFF, 0xFFFFFFFF, 1, {{4, 2}}), call.group_bytes()));
}

ISOLATED_TEST(AdapterEvent, AnAdapterThatIsNotConfiguredIsListedAllTheSame) {
    Fake_Daemon daemon;
    open_library();
    const Bytes before = library_state();
    daemon.run(send_record(reply(event(3), adapter_body({{14, 6}}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_TRUE(same_bytes(adapter_group(2, 1, 0xFFFFFFFF, 0xFFFFFFFF, 1, {{14, 6}}), call.group_bytes()));
    EXPECT_TRUE(same_bytes(before, library_state()));
}

ISOLATED_TEST(AdapterEvent, NumbersFrom98352OnAreSkipped) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(
        reply(event(3), adapter_body({{98352, 1}, {4, 2}, {0xFFFFFFFF, 3}, {98351, 4}, {0x80000000LL, 5}}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    Bytes expected = adapter_group(2, 5, 0xFFFFFFFF, 0xFFFFFFFF, 1, {{4, 2}});
    expected.put_i32(GROUP_ADAPTERS + 4 * 98351, 4); // the last slot of the record
    EXPECT_TRUE(same_bytes(expected, call.group_bytes()));
}

ISOLATED_TEST(AdapterEvent, TheFailureIdentifierIsClearedAndNotCopied) {
    Fake_Daemon daemon;
    open_library();
    for (const int kind : {2, 3, 4}) {
        daemon.run(send_record(reply(event(kind), adapter_body({}))));
        Event_Call call;
        ASSERT_EQ(Hb_Success, call.take());
        EXPECT_EQ(Bytes().zeros(43), bytes_of(call.group->Hb_ffdc_id)) << kind;
    }
}

ISOLATED_TEST(AdapterEvent, OfEverySlotOfTheLargestClusterIsTaken) {
    Fake_Daemon_Plan plan;
    Cluster_Facts cluster = small_cluster();
    cluster.max_nodes = 2049;
    cluster.adapters_per_node = 48;
    plan.connections = {serve_configuration(snapshot(cluster))};
    Fake_Daemon daemon(plan);
    open_library();
    Bytes body = Bytes().i32(98351);
    Bytes list;
    for (int64_t adapter = 0; adapter < 98352; ++adapter) {
        body.i32(adapter).i32(adapter * 3);
        list.i32(adapter * 3);
    }
    daemon.run(send_record(reply(event(4), body)));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    const auto &members = call.group->Hb_membership_grp_union.Hb_adapter_membership_grp;
    EXPECT_EQ(98352, members.Hb_num_adapters);
    EXPECT_TRUE(same_bytes(list, bytes_of(members.Hb_adapter_list)));
}

ISOLATED_TEST(AdapterEvent, OfAnotherKindIsUndefinedAndError71) {
    Fake_Daemon daemon;
    open_library();
    const Bytes record = reply(event(8), adapter_body({{4, 1}}));
    char *copy = new char[record.size()];
    std::memcpy(copy, record.data(), record.size());
    Event_Call call;
    EXPECT_EQ(Hb_Success, hb_get_adapter_event(&call.events, call.name, call.group.get(),
                                               reinterpret_cast<client_packet *>(copy)));
    EXPECT_EQ(71, hb_get_errno());
    EXPECT_EQ(Hb_Entity_Undef, adapter_state(4));
    EXPECT_EQ(1U, call.group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list[4]);
}

// ---- Node events ----

Bytes node_group(int event_bits, int64_t count, int64_t status, const std::string &failure,
                 const std::vector<int64_t> &entries) {
    Bytes group = untouched_group();
    group.put_i32(GROUP_TYPE, 0).put_i32(GROUP_EVENTS, event_bits).put_i32(GROUP_STATUS, status);
    group.put(GROUP_FFDC, Bytes().text(failure, 43));
    group.put_i32(GROUP_COUNT, count);
    return group.put(GROUP_NODES, node_body(entries));
}

Hb_Node_Entry node_entry(unsigned long node) {
    const auto *entry = static_cast<const Hb_Node_Entry *>(Hash_search(node, global_config_tbl.node_hash));
    EXPECT_NE(nullptr, entry);
    return entry != nullptr ? *entry : Hb_Node_Entry{-1, -1, -1};
}

ISOLATED_TEST(NodeEvent, ADeathWrittenOutInBytes) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_raw({
        140,  0,    0,    0,                                          // length 108 + 32
        5,    0,    0,    0,                                          // node death
        4,    0,    0,    0,    5,   0, 0, 0,                         // leader
        6,    0,    0,    0,    7,   0, 0, 0,                         // group
        0,    0,    0,    0,                                          // stable, it says
        'n',  'o',  'd',  'e',  's', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // subscription
        0,    0,    0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
        9,    0,    0,    0,                                          // value
        'f',  'f',  'd',  'c',  0,   0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // failure identifier, 43 bytes
        0,    0,    0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
        0,    0,    0,    0,    0,   0, 0, 0, 0, 0, 0,                //
        0,                                                            // padding
        0xFF, 0xFF, 0xFF, 0xFF,                                       // sequence number
        0,    0,    0,    0,    0,   0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, // node 2 of 0 to 7
        0,    0,    0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
    }));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(1, call.events);
    EXPECT_EQ(4294967295UL, call.sequence);
    expect_name(call, "nodes");
    EXPECT_TRUE(same_bytes(node_group(1, 1, 1, "ffdc", {0, 0, 1, 0, 0, 0, 0, 0}), call.group_bytes()));
    EXPECT_EQ(Hb_Entity_Down, node_entry(2).state);
    EXPECT_EQ(Hb_Entity_State_Reason_Down, node_entry(2).reason);
    EXPECT_EQ(Hb_Entity_Undef, node_entry(1).state) << "the others keep their state";
}

ISOLATED_TEST(NodeEvent, AJoinIsUpAndUnstableAndCarriesTheIdentifier) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(6), node_body({0, 1, 0, 0, 1, 0, 0, 0}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(2, call.events);
    expect_name(call, "my subscription");
    EXPECT_TRUE(same_bytes(node_group(2, 2, 1, FAILURE, {0, 1, 0, 0, 1, 0, 0, 0}), call.group_bytes()));
    for (const unsigned long node : {1UL, 4UL}) {
        EXPECT_EQ(Hb_Entity_Up, node_entry(node).state);
        EXPECT_EQ(Hb_Entity_State_Reason_Up, node_entry(node).reason);
    }
    EXPECT_EQ(Hb_Entity_Undef, node_entry(2).state);
}

ISOLATED_TEST(NodeEvent, ANewGroupHasItsStatusAndNoIdentifier) {
    Fake_Daemon daemon;
    open_library();
    Reply_Header header = event(7);
    for (const int64_t status : {0, 1, -3}) {
        header.group_status = status;
        daemon.run(send_record(reply(header, node_body({0, 1, 1, 0, 1, 0, 0, 0}))));
        Event_Call call;
        ASSERT_EQ(Hb_Success, call.take());
        EXPECT_EQ(4, call.events);
        EXPECT_TRUE(same_bytes(node_group(4, 3, status, "", {0, 1, 1, 0, 1, 0, 0, 0}), call.group_bytes()));
    }
    EXPECT_EQ(Hb_Entity_Up, node_entry(2).state);
    EXPECT_EQ(Hb_Entity_State_Reason_Up, node_entry(2).reason);
}

ISOLATED_TEST(NodeEvent, OtherValuesThanOneAreCopiedAndNotCounted) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(5), node_body({0, 7, 1, -1, 2, 0, 0, 1}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_TRUE(same_bytes(node_group(1, 2, 1, FAILURE, {0, 7, 1, -1, 2, 0, 0, 1}), call.group_bytes()));
    EXPECT_EQ(7, hb_is_node_in_group(call.group.get(), 1)) << "it comes back as it arrived";
    EXPECT_EQ(Hb_Entity_Undef, node_entry(1).state);
    EXPECT_EQ(Hb_Entity_Down, node_entry(2).state);
}

ISOLATED_TEST(NodeEvent, ANodeThatIsNotConfiguredIsCountedAllTheSame) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(6), node_body({1, 0, 0, 1, 0, 0, 0, 0}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(2, call.group->Hb_membership_grp_union.Hb_node_membership_grp.Hb_num_nodes);
}

ISOLATED_TEST(NodeEvent, ABodyLongerThanTheNodesIsReadToTheLastNode) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(5), node_body({0, 0, 0, 0, 0, 0, 0, 1, 1, 1}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_TRUE(same_bytes(node_group(1, 1, 1, FAILURE, {0, 0, 0, 0, 0, 0, 0, 1}), call.group_bytes()));
}

ISOLATED_TEST(NodeEvent, AnIdentifierWithoutANulIsCutAtItsField) {
    Fake_Daemon daemon;
    open_library();
    Reply_Header header = event(5);
    header.ffdc_id = std::string(43, 'f');
    daemon.run(send_record(reply(header, node_body({0, 0, 0, 0, 0, 0, 0, 0}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(Bytes().text(std::string(42, 'f'), 43), bytes_of(call.group->Hb_ffdc_id));
    EXPECT_EQ(UNTOUCHED, call.group_bytes()[GROUP_FFDC + 43]);
}

// ---- Heartbeat ----

ISOLATED_TEST(HeartbeatEvent, WrittenOutInBytes) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_raw({
        124,  0,    0,   0,                                       // length 108 + 16
        15,   0,    0,   0,                                       // node heartbeat
        0,    0,    0,   0,   0, 0, 0, 0,                         // leader
        0,    0,    0,   0,   0, 0, 0, 0,                         // group
        0,    0,    0,   0,                                       // status
        'b',  'e',  'a', 't', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // subscription
        0,    0,    0,   0,   0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
        0,    0,    0,   0,                                       // value
        'f',  'f',  'd', 'c', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // failure identifier, 43 bytes
        0,    0,    0,   0,   0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
        0,    0,    0,   0,   0, 0, 0, 0, 0, 0, 0,                //
        0,                                                        // padding
        3,    0,    0,   0,                                       // sequence number
        5,    0,    0,   0,                                       // threshold, seconds
        0x20, 0xA1, 7,   0,                                       // and 500000 microseconds
        1,    0,    0,   0,                                       // enabled
        0xD2, 4,    0,   0,                                       // process 1234
    }));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(512, call.events);
    EXPECT_EQ(3U, call.sequence);
    expect_name(call, "beat");
    EXPECT_EQ(5, client_hb_info.client_hb_thresh.tv_sec);
    EXPECT_EQ(500000, client_hb_info.client_hb_thresh.tv_usec);
    EXPECT_EQ(1, client_hb_info.client_hb_is_enabled);
    EXPECT_EQ(1234, client_hb_info.client_hb_daemon_pid);
}

ISOLATED_TEST(HeartbeatEvent, TouchesNoListTypeOrStatusOfTheGroup) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(15), Bytes().i32(1).i32(2).i32(0).i32(3))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    Bytes expected = untouched_group();
    expected.put_i32(GROUP_EVENTS, 512).put(GROUP_FFDC, Bytes().zeros(43));
    EXPECT_TRUE(same_bytes(expected, call.group_bytes()));
}

ISOLATED_TEST(HeartbeatEvent, TheSettingsAreCopiedToTheCaller) {
    Fake_Daemon daemon;
    Hb_Client_Hb_Info info;
    std::memset(&info, UNTOUCHED, sizeof info);
    EXPECT_EQ(Hb_Success, hb_get_client_hb_info(&info));
    EXPECT_EQ(0, info.client_hb_thresh.tv_sec) << "nothing has come yet";
    EXPECT_EQ(0, info.client_hb_is_enabled);
    EXPECT_EQ(0, info.client_hb_daemon_pid);
    EXPECT_EQ(0, client_initialized) << "asking does not open the library";
    EXPECT_EQ(0, daemon.connections());

    open_library();
    daemon.run(send_record(reply(event(15), Bytes().i32(7).i32(8).i32(9).i32(10))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(Hb_Success, hb_get_client_hb_info(&info));
    EXPECT_EQ(7, info.client_hb_thresh.tv_sec);
    EXPECT_EQ(8, info.client_hb_thresh.tv_usec);
    EXPECT_EQ(9, info.client_hb_is_enabled) << "the flag comes back as it arrived";
    EXPECT_EQ(10, info.client_hb_daemon_pid);
}

ISOLATED_TEST(HeartbeatEvent, ANullPointerForTheSettingsIsError4) {
    EXPECT_EQ(Hb_Failure, hb_get_client_hb_info(nullptr));
    EXPECT_EQ(4, hb_get_errno());
}

// ---- Failure identifiers and other instances ----

ISOLATED_TEST(FailureIdentifierEvent, FillsTheIdentifierAndNothingElse) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(12), {})));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(8, call.events);
    EXPECT_EQ(0x01020304U, call.sequence);
    expect_name(call, "Hb_FFDC_Group");
    Bytes expected = untouched_group();
    expected.put_i32(GROUP_EVENTS, 8).put(GROUP_FFDC, Bytes().text(FAILURE, 43));
    EXPECT_TRUE(same_bytes(expected, call.group_bytes()));
}

ISOLATED_TEST(FailureIdentifierEvent, WithoutANulIsCutAtItsField) {
    Fake_Daemon daemon;
    open_library();
    Reply_Header header = event(12);
    header.ffdc_id = std::string(43, 'x');
    daemon.run(send_record(reply(header, {})));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(std::string(42, 'x'), call.group->Hb_ffdc_id);
}

ISOLATED_TEST(FailureIdentifierEvent, IsReadWithItsAccessor) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(12), {})));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    Hb_FFDC_Id id;
    EXPECT_EQ(Hb_Success, hb_get_FFDC_id(call.group.get(), &id));
    EXPECT_STREQ(FAILURE, id);
}

ISOLATED_TEST(DifferentInstanceEvent, CarriesAddressAndInstance) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(13), ipv4(192, 168, 3, 4).i32(0xFEDCBA98))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(256, call.events);
    expect_name(call, "my subscription");
    Bytes expected = untouched_group();
    expected.put_i32(GROUP_TYPE, 2).put_i32(GROUP_EVENTS, 256).put(GROUP_FFDC, Bytes().zeros(43));
    expected.put(GROUP_INSTANCE,
                 {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 192, 168, 3, 4, 0x98, 0xBA, 0xDC, 0xFE});
    EXPECT_TRUE(same_bytes(expected, call.group_bytes()));
}

ISOLATED_TEST(DifferentInstanceEvent, ReadsTwentyBytesOfALongerBody) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(13), ipv6("fe80::1").i32(5).fill(30, 0xEE))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(ipv6("fe80::1").i32(5), call.group_bytes().part(GROUP_INSTANCE, 20));
    EXPECT_EQ(UNTOUCHED, call.group_bytes()[GROUP_INSTANCE + 20]);
}

// ---- The configuration update ----

ISOLATED_TEST(ConfigurationUpdate, ReportsItsEventAndNameAndLeavesTheGroupAlone) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(9), snapshot(small_cluster()))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(128, call.events);
    EXPECT_EQ(0x01020304U, call.sequence);
    expect_name(call, "Hb_Config_Group");
    Bytes expected = untouched_group();
    expected.put(GROUP_FFDC, Bytes().zeros(43)); // as for every event, before its kind is checked
    EXPECT_TRUE(same_bytes(expected, call.group_bytes()));
}

ISOLATED_TEST(ConfigurationUpdate, ReplacesTheConfiguration) {
    Fake_Daemon daemon;
    open_library();
    Cluster_Facts cluster;
    cluster.local_node = 6;
    cluster.max_nodes = 7;
    cluster.adapters_per_node = 3;
    cluster.adapters = {{18, 0, ipv4(10, 9, 0, 1), "new0", 2}, {20, 2, ipv4(10, 9, 0, 2), "new2", 1}};
    cluster.networks = {{"first", "x"}, {"second", "y"}, {"third", "z"}};
    daemon.run(send_record(reply(event(9), snapshot(cluster))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());

    EXPECT_EQ(6, global_config_tbl.local_node_number);
    EXPECT_EQ(7, global_config_tbl.Hb_max_nodes);
    EXPECT_EQ(3, global_config_tbl.Hb_adapters_per_node);
    EXPECT_EQ(2, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(3, global_config_tbl.Hb_num_networks);
    EXPECT_EQ(1, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(1, global_num_nodes);
    EXPECT_EQ(Hb_True, global_node_tbl[6]);
    for (const int gone : {1, 2, 4}) {
        EXPECT_EQ(Hb_False, global_node_tbl[gone]);
    }
    EXPECT_EQ(&HB_INVALID_ADAP, hb_get_adap_entry(2)) << "an adapter of before is gone";
    EXPECT_STREQ("new0", hb_get_adap_entry(18)->Hb_adapter_type);
    char name[70];
    EXPECT_EQ(Hb_Success, hb_get_network_name_by_number(2, name));
    EXPECT_STREQ("third", name);
}

ISOLATED_TEST(ConfigurationUpdate, KeepsTheStatesOfTheNodesThatStay) {
    Fake_Daemon daemon;
    open_library();
    Cluster_Facts cluster = small_cluster();
    cluster.adapters.push_back({10, 0, ipv4(10, 9, 0, 5), "new", 1});
    daemon.run({send_record(reply(event(5), node_body({0, 0, 1, 0, 0, 0, 0, 0}))),
                send_record(reply(event(6), node_body({0, 1, 0, 0, 0, 0, 0, 0}))),
                send_record(reply(event(9), snapshot(cluster)))});
    for (int i = 0; i < 3; ++i) {
        Event_Call call;
        ASSERT_EQ(Hb_Success, call.take());
    }
    EXPECT_EQ(Hb_Entity_Down, node_entry(2).state);
    EXPECT_EQ(Hb_Entity_State_Reason_Down, node_entry(2).reason);
    EXPECT_EQ(Hb_Entity_Up, node_entry(1).state);
    EXPECT_EQ(Hb_Entity_State_Reason_Up, node_entry(1).reason);
    EXPECT_EQ(Hb_Entity_Undef, node_entry(4).state) << "nothing was reported of it";
    EXPECT_EQ(Hb_Entity_Undef, node_entry(5).state) << "it is new";
}

ISOLATED_TEST(ConfigurationUpdate, KeepsTheSites) {
    Fake_Daemon daemon;
    open_library();
    H_table_str *sites = Hash_init("sites", 257);
    auto *list = new Hb_Site_Entry[1]();
    global_config_tbl.site_hash = sites;
    global_config_tbl.site_list = list;
    daemon.run(send_record(reply(event(9), snapshot(small_cluster()))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(sites, global_config_tbl.site_hash);
    EXPECT_EQ(list, global_config_tbl.site_list);
}

ISOLATED_TEST(ConfigurationUpdate, EventsAfterItAreReadWithTheNewGeometry) {
    Fake_Daemon daemon;
    open_library();
    Cluster_Facts cluster = small_cluster();
    cluster.max_nodes = 10;
    daemon.run({send_record(reply(event(9), snapshot(cluster))),
                send_record(reply(event(5), node_body({0, 0, 0, 0, 0, 0, 0, 0, 0, 1})))});
    Event_Call update;
    ASSERT_EQ(Hb_Success, update.take());
    Event_Call death;
    ASSERT_EQ(Hb_Success, death.take());
    EXPECT_EQ(1, death.group->Hb_membership_grp_union.Hb_node_membership_grp.Hb_node_list[9]);
    EXPECT_EQ(1, death.group->Hb_membership_grp_union.Hb_node_membership_grp.Hb_num_nodes);
}

ISOLATED_TEST(ConfigurationUpdate, NodesAboveTheNewMaximumAreLeftInTheNodeTable) {
    Fake_Daemon daemon;
    open_library();
    ASSERT_EQ(Hb_True, global_node_tbl[4]);
    Cluster_Facts cluster = small_cluster();
    cluster.max_nodes = 3;
    cluster.adapters.resize(4);
    daemon.run(send_record(reply(event(9), snapshot(cluster))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(2, global_num_nodes);
    EXPECT_EQ(Hb_True, global_node_tbl[4]) << "entries beyond the nodes stay as they are";
}

ISOLATED_TEST(ConfigurationUpdate, ShortMemoryAnywhereIsError17AndLosesNothing) {
    Fake_Daemon daemon;
    open_library();
    int failures = 0;
    for (int skip = 0;; ++skip) {
        ASSERT_LT(skip, 1000);
        daemon.run(send_record(reply(event(9), snapshot(small_cluster()))));
        ASSERT_TRUE(wait_readable(client_socket->socket()));
        ASSERT_TRUE(daemon.wait_steps_done());
        const Bytes before = library_state();
        Event_Call call;
        Fault short_memory;
        short_memory.call = Call::allocation;
        short_memory.skip = 1 + skip; // the record itself can be allocated
        Hb_Rc result = Hb_Success;
        int hits = 0;
        {
            const Fault_Guard fault(short_memory);
            result = call.take();
            hits = fault.hits();
        }
        if (hits == 0) {
            EXPECT_EQ(Hb_Success, result);
            break;
        }
        if (result == Hb_Failure) {
            ++failures;
            EXPECT_EQ(17, hb_get_errno());
            EXPECT_TRUE(same_bytes(before, library_state())) << "allocation " << skip;
            EXPECT_EQ(Event_Call::NO_EVENT, call.events);
        }
    }
    EXPECT_GT(failures, 5);
}

// ---- Names ----

ISOLATED_TEST(EventName, WithoutANulIsCutAtThirtyOneCharacters) {
    Fake_Daemon daemon;
    open_library();
    for (const int kind : {2, 3, 4, 5, 6, 7, 13, 15}) {
        Reply_Header header = event(kind);
        header.subscription_name = std::string(32, 'n');
        Bytes body = Bytes().i32(-1).zeros(28); // enough for each of these kinds
        daemon.run(send_record(reply(header, body)));
        Event_Call call;
        ASSERT_EQ(Hb_Success, call.take()) << kind;
        EXPECT_EQ(std::string(31, 'n'), call.name_text()) << kind;
        EXPECT_EQ(Bytes().fill(16, UNTOUCHED), call.name_bytes().from(32)) << kind;
    }
}

// ---- Waiting and reading ----

ISOLATED_TEST(Intake, ADescriptorArrayThatStartsWithMinusOneFailsWithoutAnErrorNumber) {
    Fake_Daemon daemon;
    int none[1] = {-1};
    const Call_Log log;
    EXPECT_EQ(Hb_Failure, hb_get_event_message(none, nullptr, nullptr, nullptr, nullptr, nullptr))
        << "that is looked at before the other arguments";
    EXPECT_EQ(0, hb_get_errno());
    EXPECT_TRUE(log.calls(Call::socket_).empty());
    EXPECT_EQ(nullptr, client_socket);
}

ISOLATED_TEST(Intake, ANullPointerWhereAnAnswerShouldGoIsError4BeforeAnythingIsRead) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(event(12), {})));
    ASSERT_TRUE(wait_readable(client_socket->socket()));
    Event_Call call;
    int descriptors[2] = {client_socket->socket(), -1};
    const Call_Log log;
    for (int missing = 0; missing < 5; ++missing) {
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, hb_get_event_message(missing == 0 ? nullptr : descriptors, nullptr,
                                                   missing == 1 ? nullptr : &call.events,
                                                   missing == 2 ? nullptr : call.name,
                                                   missing == 3 ? nullptr : call.group.get(),
                                                   missing == 4 ? nullptr : &call.sequence))
            << missing;
        EXPECT_EQ(4, hb_get_errno()) << missing;
    }
    EXPECT_TRUE(log.calls(Call::read_).empty());
    EXPECT_TRUE(same_bytes(untouched_group(), call.group_bytes()));
    EXPECT_EQ(Hb_Success, call.take()) << "the event is still there";
}

ISOLATED_TEST(Intake, WaitsForAsLongAsItTakesWithoutATimeOut) {
    Fake_Daemon daemon;
    open_library();
    daemon.run({wait_for([] { return Signal_Pelter::hits() >= 30; }), send_record(reply(event(12), {}))});
    const Signal_Pelter pelter;
    Event_Call call;
    EXPECT_EQ(Hb_Success, call.take());
}

ISOLATED_TEST(Intake, ATimeOutThatExpiresIsError2AndLeavesEverythingAlone) {
    Fake_Daemon daemon;
    open_library();
    const Bytes before = library_state();
    for (const timeval &timeout : {timeval{0, 0}, timeval{0, 10000}}) {
        Event_Call call;
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, call.take(timeout));
        EXPECT_EQ(2, hb_get_errno());
        EXPECT_TRUE(same_bytes(untouched_group(), call.group_bytes()));
        EXPECT_EQ(Event_Call::NO_EVENT, call.events);
        EXPECT_EQ(Event_Call::NO_SEQUENCE, call.sequence);
    }
    EXPECT_TRUE(same_bytes(before, library_state()));
}

ISOLATED_TEST(Intake, WithATimeOutAnEventThatComesInTimeIsTaken) {
    Fake_Daemon daemon;
    open_library();
    daemon.run({wait_for([] { return Signal_Pelter::hits() >= 10; }), send_record(reply(event(12), {}))});
    const Signal_Pelter pelter;
    Event_Call call;
    EXPECT_EQ(Hb_Success, call.take({60, 0}));
}

ISOLATED_TEST(Intake, AWaitThatFailsIsError12) {
    Fake_Daemon daemon;
    open_library();
    for (const int error : {EBADF, EINVAL, ENOMEM}) {
        const Fault_Guard fault = failing(Call::select_, error);
        Event_Call call;
        EXPECT_EQ(Hb_Failure, call.take({30, 0}));
        EXPECT_EQ(12, hb_get_errno());
    }
}

ISOLATED_TEST(Intake, AnEventThatTricklesInByteByByteIsTakenWhole) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(trickle_record(reply(event(3), adapter_body({{5, 0x77}, {8, 0}}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take({60, 0}));
    EXPECT_TRUE(
        same_bytes(adapter_group(2, 2, 0xFFFFFFFF, 0xFFFFFFFF, 1, {{5, 0x77}, {8, 0}}), call.group_bytes()));
}

ISOLATED_TEST(Intake, ADaemonThatDiesAtAnyByteOfAnEventIsError16AndChangesNothing) {
    const Bytes whole = frame(reply(event(5), node_body({1, 1, 1, 1, 1, 1, 1, 1})));
    for (std::size_t count = 0; count < whole.size(); ++count) {
        Fake_Daemon daemon;
        open_library();
        const Bytes before = library_state();
        daemon.run({send_raw(whole.first(count)), hang_up()});
        Event_Call call;
        EXPECT_EQ(Hb_Failure, call.take()) << count;
        EXPECT_EQ(16, hb_get_errno()) << count;
        EXPECT_TRUE(same_bytes(untouched_group(), call.group_bytes())) << count;
        EXPECT_EQ(Event_Call::NO_SEQUENCE, call.sequence);
        EXPECT_TRUE(same_bytes(before, library_state())) << count;
        EXPECT_EQ(Hb_Failure, call.take()) << "and again";
        EXPECT_EQ(16, hb_get_errno());
        hb_terminate();
    }
}

ISOLATED_TEST(Intake, AReadThatFailsWithoutTheEndIsError12) {
    Fake_Daemon daemon;
    open_library();
    const Fault_Guard fault = failing(Call::read_, EIO);
    Event_Call call;
    EXPECT_EQ(Hb_Failure, call.take());
    EXPECT_EQ(12, hb_get_errno());
}

ISOLATED_TEST(Intake, EventsComeOneACallAndInOrder) {
    Fake_Daemon daemon;
    open_library();
    Bytes all;
    for (int i = 0; i < 50; ++i) {
        Reply_Header header = event(i % 2 == 0 ? 12 : 7);
        header.sequence = 1000 + i;
        all.add(frame(reply(header, node_body({0, 0, 0, 0, 0, 0, 0, 0}))));
    }
    daemon.run(send_raw(all));
    for (int i = 0; i < 50; ++i) {
        Event_Call call;
        ASSERT_EQ(Hb_Success, call.take());
        EXPECT_EQ(i % 2 == 0 ? 8 : 4, call.events);
        EXPECT_EQ(1000U + static_cast<unsigned>(i), call.sequence);
    }
}

ISOLATED_TEST(Intake, WithoutAConnectionItOpensTheLibrary) {
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(small_cluster()))};
    Fake_Daemon daemon(plan);
    Event_Call call;
    EXPECT_EQ(Hb_Failure, call.take({0, 0}));
    EXPECT_EQ(2, hb_get_errno());
    EXPECT_NE(nullptr, client_socket);
    EXPECT_EQ(1, daemon.connections());
    daemon.run(send_record(reply(event(12), {})));
    EXPECT_EQ(Hb_Success, call.take());
}

ISOLATED_TEST(Intake, WithoutAConnectionItReportsWhyItCannotOpen) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    Event_Call call;
    EXPECT_EQ(Hb_Failure, call.take());
    EXPECT_EQ(15, hb_get_errno());
    EXPECT_TRUE(same_bytes(untouched_group(), call.group_bytes()));
}

ISOLATED_TEST(Intake, AfterTerminatingItConnectsAgain) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_terminate());
    Event_Call call;
    EXPECT_EQ(Hb_Failure, call.take({0, 0}));
    EXPECT_EQ(2, hb_get_errno());
    EXPECT_TRUE(daemon.wait_connections(2));
}

ISOLATED_TEST(Intake, AConnectionThatIsThereIsUsedWithoutOpeningTheLibrary) {
    Fake_Daemon_Plan plan;
    plan.connections = {{send_record(reply(event(12), {}))}};
    Fake_Daemon daemon(plan);
    ASSERT_EQ(Hb_Success, hb_init_communication());
    Event_Call call;
    EXPECT_EQ(Hb_Success, call.take());
    EXPECT_EQ(0, client_initialized);
    EXPECT_TRUE(daemon.received().empty()) << "no configuration was asked for";
}

ISOLATED_TEST(Intake, BeforeAnyConfigurationAnEventHasNoNodesAndNoAdapterBound) {
    Fake_Daemon_Plan plan;
    plan.connections = {
        {send_record(reply(event(5), {})), send_record(reply(event(2), adapter_body({{3, 9}})))}};
    Fake_Daemon daemon(plan);
    ASSERT_EQ(Hb_Success, hb_init_communication());
    Event_Call node;
    ASSERT_EQ(Hb_Success, node.take());
    EXPECT_TRUE(same_bytes(node_group(1, 0, 1, FAILURE, {}), node.group_bytes()));
    Event_Call adapter;
    ASSERT_EQ(Hb_Success, adapter.take());
    EXPECT_EQ(9U, adapter.group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list[3]);
}

// ---- Descriptors ----

ISOLATED_TEST(DescriptorArray, IsTheConnectionAndMinusOneWithACountOfOne) {
    Fake_Daemon daemon;
    int *descriptors = nullptr;
    int count = 0;
    ASSERT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
    EXPECT_EQ(1, count);
    ASSERT_NE(nullptr, client_socket) << "it opened the library";
    EXPECT_EQ(client_socket->socket(), descriptors[0]);
    EXPECT_EQ(-1, descriptors[1]);
    EXPECT_EQ(Hb_Success, hb_free_file_descriptor_array(descriptors));
}

ISOLATED_TEST(DescriptorArray, BecomesReadableWithAnEvent) {
    Fake_Daemon daemon;
    int *descriptors = nullptr;
    int count = 0;
    ASSERT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
    daemon.run(send_record(reply(event(12), {})));
    EXPECT_TRUE(wait_readable(descriptors[0]));
    Event_Call call;
    EXPECT_EQ(Hb_Success, hb_get_event_message(descriptors, nullptr, &call.events, call.name, call.group.get(),
                                               &call.sequence));
    EXPECT_EQ(8, call.events);
    EXPECT_EQ(Hb_Success, hb_free_file_descriptor_array(descriptors));
}

ISOLATED_TEST(DescriptorArray, NullPointersAreError4BeforeAnythingIsOpened) {
    Fake_Daemon daemon;
    int *descriptors = nullptr;
    int count = 77;
    EXPECT_EQ(Hb_Failure, hb_get_file_descriptor_array(nullptr, &count));
    EXPECT_EQ(4, hb_get_errno());
    set_hb_errno(0);
    EXPECT_EQ(Hb_Failure, hb_get_file_descriptor_array(&descriptors, nullptr));
    EXPECT_EQ(4, hb_get_errno());
    EXPECT_EQ(77, count);
    EXPECT_EQ(nullptr, descriptors);
    EXPECT_EQ(0, daemon.connections());
    EXPECT_EQ(nullptr, client_socket);
}

ISOLATED_TEST(DescriptorArray, AFailureToOpenIsReportedAndNothingWritten) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    int *descriptors = nullptr;
    int count = 77;
    EXPECT_EQ(Hb_Failure, hb_get_file_descriptor_array(&descriptors, &count));
    EXPECT_EQ(15, hb_get_errno());
    EXPECT_EQ(nullptr, descriptors);
    EXPECT_EQ(77, count);
}

ISOLATED_TEST(DescriptorArray, ShortMemoryIsError17) {
    Fake_Daemon daemon;
    open_library();
    int *descriptors = nullptr;
    int count = 77;
    Fault short_memory;
    short_memory.call = Call::allocation;
    Hb_Rc result = Hb_Success;
    {
        const Fault_Guard fault(short_memory);
        result = hb_get_file_descriptor_array(&descriptors, &count);
    }
    EXPECT_EQ(Hb_Failure, result);
    EXPECT_EQ(17, hb_get_errno());
    EXPECT_EQ(nullptr, descriptors);
    EXPECT_EQ(77, count);
}

ISOLATED_TEST(DescriptorArray, FreeingNullIsError4AndOpensNothing) {
    Fake_Daemon daemon;
    EXPECT_EQ(Hb_Failure, hb_free_file_descriptor_array(nullptr));
    EXPECT_EQ(4, hb_get_errno());
    auto *mine = new int[2];
    EXPECT_EQ(Hb_Success, hb_free_file_descriptor_array(mine));
    EXPECT_EQ(0, daemon.connections());
}

// ---- Other details ----

TEST(NodeListReset, SetsAllEntriesToFalse) {
    const auto group = std::make_unique<Hb_Group>();
    std::memset(group.get(), UNTOUCHED, sizeof(Hb_Group));
    reset_node_membership_group_node_list(group.get());
    EXPECT_TRUE(same_bytes(untouched_group().put(GROUP_NODES, Bytes().zeros(2049 * 4)), bytes_of(*group)));
}

TEST(IntCompare, OrdersAnyTwoInts) {
    const int lowest = -2147483647 - 1;
    const int highest = 2147483647;
    const int ordered[] = {lowest, lowest + 1, -5, -1, 0, 1, 5, highest - 1, highest};
    for (std::size_t i = 0; i < std::size(ordered); ++i) {
        for (std::size_t k = 0; k < std::size(ordered); ++k) {
            const int order = int_compare(&ordered[i], &ordered[k]);
            EXPECT_EQ(i < k, order < 0) << ordered[i] << " and " << ordered[k];
            EXPECT_EQ(i > k, order > 0) << ordered[i] << " and " << ordered[k];
        }
    }
}

TEST(IntCompare, SortsWithTheSystemsSort) {
    int numbers[] = {2147483647, -2147483647 - 1, 3, -3, 0};
    qsort(numbers, std::size(numbers), sizeof numbers[0], int_compare);
    const int wanted[] = {-2147483647 - 1, -3, 0, 3, 2147483647};
    EXPECT_EQ(bytes_of(wanted), bytes_of(numbers));
}

TEST(NewDataHook, DoesNothing) {
    Bytes data{1, 2, 3};
    wisp_pin_new_data(data.data(), 3);
    wisp_pin_new_data(nullptr, 0);
    EXPECT_EQ(Bytes({1, 2, 3}), data);
}

} // namespace
} // namespace hb_test
