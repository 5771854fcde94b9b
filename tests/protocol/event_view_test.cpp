// SPDX-License-Identifier: Apache-2.0
// Event records seen by type, with no connection and no table.
#include <string>

#include <gtest/gtest.h>

#include "lib/wire/event_view.h"
#include "tests/protocol/client.h"
#include "tests/support/records.h"

namespace hb_test {
namespace {

constexpr int MAX_NODES = 3;

Reply_Header event(int kind) {
    Reply_Header header;
    header.kind = kind;
    header.leader[0] = 4;
    header.group_id[1] = 0x33333333;
    header.group_status = 1;
    header.subscription_name = "my subscription";
    header.ffdc_id = "a.failure.identifier";
    return header;
}

std::optional<Hb_Event_View> view_of(const Bytes &record, int max_nodes = MAX_NODES) {
    return hb_view_event({reinterpret_cast<const char *>(record.data()), record.size()}, max_nodes);
}

Bytes without_last_byte(Bytes record) {
    record.pop_back();
    return record;
}

TEST(EventView, OfAnAdapterEventHoldsItsGroupAndItsAdapters) {
    for (const int kind : {2, 3, 4}) {
        const Bytes record = reply(event(kind), adapter_body({{4, 7}, {9, 8}}));
        const auto view = view_of(record);
        ASSERT_TRUE(view && std::holds_alternative<Hb_Adapter_Event_View>(*view)) << kind;
        const auto &adapter_event = std::get<Hb_Adapter_Event_View>(*view);
        EXPECT_EQ(kind, adapter_event.kind);
        EXPECT_STREQ("my subscription", adapter_event.subscription_name);
        EXPECT_EQ(4U, adapter_event.leader);
        EXPECT_EQ(0x33333333U, adapter_event.group_incarnation);
        EXPECT_EQ(1, adapter_event.group_status);
        ASSERT_EQ(2, adapter_event.adapters.size());
        EXPECT_EQ(4U, adapter_event.adapters[0].adapter);
        EXPECT_EQ(7U, adapter_event.adapters[0].incarnation);
        EXPECT_EQ(9U, adapter_event.adapters[1].adapter);
        EXPECT_EQ(8U, adapter_event.adapters[1].incarnation);
        EXPECT_FALSE(view_of(without_last_byte(record))) << kind;
    }
}

TEST(EventView, OfAnAdapterEventMayHoldNoAdapter) {
    const auto view = view_of(reply(event(2), adapter_body({})));
    ASSERT_TRUE(view);
    EXPECT_EQ(0, std::get<Hb_Adapter_Event_View>(*view).adapters.size());
}

TEST(EventView, OfANodeEventHoldsTheFailureAndOneEntryForEachNode) {
    for (const int kind : {5, 6, 7}) {
        const Bytes record = reply(event(kind), node_body({0, 1, 0}));
        const auto view = view_of(record);
        ASSERT_TRUE(view && std::holds_alternative<Hb_Node_Event_View>(*view)) << kind;
        const auto &node_event = std::get<Hb_Node_Event_View>(*view);
        EXPECT_EQ(kind, node_event.kind);
        EXPECT_STREQ("my subscription", node_event.subscription_name);
        EXPECT_STREQ("a.failure.identifier", node_event.ffdc_id);
        EXPECT_EQ(1, node_event.group_status);
        ASSERT_EQ(MAX_NODES, node_event.nodes.size());
        EXPECT_EQ(0, node_event.nodes[0]);
        EXPECT_EQ(1, node_event.nodes[1]);
        EXPECT_EQ(0, node_event.nodes[2]);
        EXPECT_FALSE(view_of(without_last_byte(record))) << kind;
    }
}

TEST(EventView, OfANodeEventDependsOnTheNumberOfNodes) {
    const Bytes record = reply(event(5), node_body({0, 1, 0}));
    for (const int max_nodes : {-1, 0}) {
        const auto view = view_of(record, max_nodes);
        ASSERT_TRUE(view) << max_nodes;
        EXPECT_EQ(0, std::get<Hb_Node_Event_View>(*view).nodes.size()) << max_nodes;
    }
    EXPECT_FALSE(view_of(record, MAX_NODES + 1));
    EXPECT_FALSE(view_of(reply(event(5), Bytes().zeros(4 * 2050)), 2050)) << "more nodes than there are slots";
}

TEST(EventView, OfAHeartbeatHoldsItsFourValues) {
    const Bytes record = reply(event(15), Bytes().i32(5).i32(250000).i32(1).i32(4711));
    const auto view = view_of(record);
    ASSERT_TRUE(view && std::holds_alternative<Hb_Heartbeat_View>(*view));
    const auto &heartbeat = std::get<Hb_Heartbeat_View>(*view);
    EXPECT_STREQ("my subscription", heartbeat.subscription_name);
    EXPECT_EQ(5, heartbeat.heartbeat.threshold_seconds);
    EXPECT_EQ(250000, heartbeat.heartbeat.threshold_microseconds);
    EXPECT_EQ(1, heartbeat.heartbeat.enabled);
    EXPECT_EQ(4711, heartbeat.heartbeat.daemon_pid);
    EXPECT_FALSE(view_of(without_last_byte(record)));
}

TEST(EventView, OfAFailureIdentifierNeedsTheHeaderAlone) {
    const Bytes record = reply(event(12), {});
    const auto view = view_of(record);
    ASSERT_TRUE(view && std::holds_alternative<Hb_Failure_Id_View>(*view));
    EXPECT_STREQ("a.failure.identifier", std::get<Hb_Failure_Id_View>(*view).ffdc_id);
    EXPECT_FALSE(view_of(without_last_byte(record)));
}

TEST(EventView, OfAnotherInstanceHoldsItsSender) {
    const Bytes record = reply(event(13), Bytes().zeros(12).raw(std::string("\x0A\x00\x00\x07", 4)).i32(77));
    const auto view = view_of(record);
    ASSERT_TRUE(view && std::holds_alternative<Hb_Other_Instance_View>(*view));
    const auto &other = std::get<Hb_Other_Instance_View>(*view);
    EXPECT_STREQ("my subscription", other.subscription_name);
    EXPECT_EQ(0x0700000AU, other.instance.addr.v4_in_v6.v4_in_v6_ipv4);
    EXPECT_EQ(77U, other.instance.machinesInst);
    EXPECT_FALSE(view_of(without_last_byte(record)));
}

TEST(EventView, OfAnotherKindThereIsNone) {
    for (const int kind : {-1, 0, 1, 8, 9, 10, 11, 14, 16}) {
        EXPECT_FALSE(view_of(reply(event(kind), Bytes().zeros(64)))) << kind;
    }
    EXPECT_FALSE(view_of({}));
}

} // namespace
} // namespace hb_test
