// SPDX-License-Identifier: Apache-2.0
// Nodes that die and return: every branch of the handler.
#include <cerrno>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

// The record's sequence number does not fit into 32 bits.
constexpr uint64_t LONG_SEQUENCE = 0x300000009;
constexpr unsigned long LOW_32_BITS = 9;

struct Nodes {
    Nodes() { client.open(); }

    Hb_Rc push(qz_orb_event_type_t type, uint32_t node) {
        client.service.push("node_liveness", node_record(type, node, LONG_SEQUENCE));
        return call.run(node_liveness_handler_p);
    }
    void set_status(uint32_t number, qz_mox_node_status_t status) {
        mox_sim::Node node;
        node.number = number;
        node.status = status;
        client.service.set(node);
    }
    void without_adapters(uint32_t node) {
        client.service.remove_interface(node, "eth0");
        client.service.remove_interface(node, "eth1");
        ASSERT_EQ(Hb_Success, hb_terminate());
        client.open();
        MOX_set_comparison_due(false); // as a commit does
    }
    // By the events so far, the node and its adapters are down.
    static void put_down(int node) {
        set_node(node, Hb_Entity_Down, Hb_Entity_State_Reason_Down);
        for (int i = 0; i < global_config_tbl.Hb_num_adapters; ++i) {
            Hb_Adapter_Entry &adapter = global_config_tbl.Hb_global_adapter_list[i];
            if (adapter.Hb_adapter_num / 48 == static_cast<unsigned>(node)) {
                adapter.Hb_state = Hb_Entity_Down;
            }
        }
    }
    // The result when nothing is new: the node's group with no events, and the record's number.
    void expect_known_already(int node) {
        EXPECT_EQ(0, call.events);
        EXPECT_EQ("<EMPTY EVENT>", call.name);
        EXPECT_EQ(LOW_32_BITS, call.sequence);
        EXPECT_EQ(0, call.group->Hb_group_type);
        EXPECT_EQ(0, call.group->Hb_events);
        EXPECT_EQ(0, call.group->Hb_group_status);
        EXPECT_EQ(1, call.node_count());
        EXPECT_THAT(call.nodes(), ElementsAre(node));
        EXPECT_THAT(queued(), IsEmpty());
    }
    void expect_contradicted() {
        EXPECT_EQ(0, call.events);
        EXPECT_EQ("<EMPTY EVENT>", call.name);
        EXPECT_EQ(0U, call.sequence);
        EXPECT_TRUE(call.group_is_untouched());
        EXPECT_THAT(queued(), IsEmpty());
    }

    Cluster_Client client;
    Handler_Call call;
};

ISOLATED_TEST(NodeLivenessHandler, TheLocalNodeNeverChangesTheTables) {
    for (const qz_orb_event_type_t type : {QZ_ORB_EVENT_DOWN, QZ_ORB_EVENT_UP}) {
        Nodes nodes;
        const int asked = nodes.client.service.calls(Operation::get_cluster_info);
        EXPECT_EQ(Hb_Success, nodes.push(type, 1));
        nodes.expect_known_already(1);
        EXPECT_EQ(Hb_Entity_Up, state_of_node(1));
        EXPECT_EQ(MOX_Working_Table::none, MOX_working_table());
        EXPECT_EQ(asked, nodes.client.service.calls(Operation::get_cluster_info));
    }
}

ISOLATED_TEST(NodeLivenessHandler, ANumberOutOfRangeIsNotTold) {
    for (const uint32_t node : {2049U, 65535U, 65537U, 0xFFFFFFFFU}) {
        Nodes nodes;
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, node));
        nodes.expect_contradicted();
        ASSERT_NE(nullptr, traced(spy, 170));
        EXPECT_THAT(traced(spy, 170)->values, ElementsAre(node));
    }
}

// ---- Down ----

ISOLATED_TEST(NodeLivenessHandler, DownOfANodeThatTheServiceHasUpIsTracedAndNotTold) {
    Nodes nodes;
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    nodes.expect_contradicted();
    ASSERT_NE(nullptr, traced(spy, 168));
    EXPECT_EQ(Hb_Entity_Up, state_of_node(3));
}

ISOLATED_TEST(NodeLivenessHandler, DownOfANodeThatTheServiceHasUpIsNotToldAlsoWhenItWasKnownToBeDown) {
    Nodes nodes;
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_Down);
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    nodes.expect_contradicted();
    EXPECT_NE(nullptr, traced(spy, 168));
}

ISOLATED_TEST(NodeLivenessHandler, DownOfANodeKnownToBeDownIsNotToldAgain) {
    Nodes nodes;
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_Down);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    nodes.expect_known_already(3);
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(144));
}

ISOLATED_TEST(NodeLivenessHandler, DownTellsTheAdaptersNowAndQueuesTheNodeAndAMarker) {
    Nodes nodes;
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(DEATH, nodes.call.events);
    EXPECT_EQ("a", nodes.call.name);
    EXPECT_EQ(0U, nodes.call.sequence);
    EXPECT_EQ(1, nodes.call.group->Hb_group_type);
    EXPECT_EQ(DEATH, nodes.call.group->Hb_events);
    EXPECT_EQ(2, nodes.call.adapter_count());
    EXPECT_EQ(0U, nodes.call.slot(144));
    EXPECT_EQ(0U, nodes.call.slot(145));
    EXPECT_EQ(0xFFFFFFFFU, nodes.call.slot(143));
    EXPECT_EQ(0xFFFFFFFFU, nodes.call.slot(98351));
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(DEATH, {3}), queued_marker()));
    EXPECT_EQ(0, event_queue_list->sequence_num);
    EXPECT_EQ(1, event_queue_list->next->sequence_num);
    EXPECT_NE(nullptr, traced(spy, 78));
    EXPECT_EQ(nullptr, traced(spy, 192));
    EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(144));
    EXPECT_TRUE(nodes.client.is_readable()) << "the event pipe";
}

ISOLATED_TEST(NodeLivenessHandler, DownWithoutAnAdapterSubscriptionIsTracedAndTheGroupStillCopied) {
    Nodes nodes;
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    hb_set_name(networkEventSubscriptionName, "");
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(0, nodes.call.events);
    EXPECT_EQ("<EMPTY EVENT>", nodes.call.name);
    EXPECT_EQ(DEATH, nodes.call.group->Hb_events);
    EXPECT_EQ(0U, nodes.call.slot(144));
    EXPECT_NE(nullptr, traced(spy, 78));
    EXPECT_NE(nullptr, traced(spy, 192));
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(DEATH, {3}), queued_marker()));
}

ISOLATED_TEST(NodeLivenessHandler, DownOfANodeWithoutAdaptersTellsTheNodeNowAndQueuesAMarker) {
    Nodes nodes;
    nodes.without_adapters(3);
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(DEATH, nodes.call.events);
    EXPECT_EQ("n", nodes.call.name);
    EXPECT_EQ(LOW_32_BITS, nodes.call.sequence);
    EXPECT_EQ(0, nodes.call.group->Hb_group_type);
    EXPECT_EQ(DEATH, nodes.call.group->Hb_events);
    EXPECT_THAT(nodes.call.nodes(), ElementsAre(3));
    EXPECT_THAT(queued(), ElementsAre(queued_marker()));
    EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
}

ISOLATED_TEST(NodeLivenessHandler, WithoutANodeSubscriptionTheEventKeepsItsKindUnderTheEmptyName) {
    Nodes nodes;
    nodes.without_adapters(3);
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    hb_set_name(nodeEventSubscriptionName, "");
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(DEATH, nodes.call.events);
    EXPECT_EQ("<EMPTY EVENT>", nodes.call.name);
    nodes.client.take_all();
    nodes.set_status(3, QZ_MOX_NODE_STATUS_UP);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_UP, 3));
    EXPECT_EQ(JOIN, nodes.call.events);
    EXPECT_EQ("<EMPTY EVENT>", nodes.call.name);
}

ISOLATED_TEST(NodeLivenessHandler, DownOfANodeReportedDeadTellsItsAdaptersAndTheNodeNotAgain) {
    Nodes nodes;
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(DEATH, nodes.call.events);
    EXPECT_EQ("a", nodes.call.name);
    EXPECT_THAT(queued(), ElementsAre(queued_marker()));
}

ISOLATED_TEST(NodeLivenessHandler, DownOfANodeReportedDeadWithoutAdaptersSwitchesTablesAtOnce) {
    Nodes nodes;
    nodes.without_adapters(3);
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(CONFIG, nodes.call.events);
    EXPECT_EQ("Hb_Config_Group", nodes.call.name);
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
    EXPECT_EQ(Hb_Entity_State_Reason_Down, reason_of_node(3)) << "the service's table is the live one";
    EXPECT_EQ(MOX_Working_Table::none, MOX_working_table());
}

ISOLATED_TEST(NodeLivenessHandler, DownOfANodeThatNobodyKnowsIsToldAndTraced) {
    Nodes nodes;
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 9));
    EXPECT_EQ(DEATH, nodes.call.events);
    EXPECT_THAT(nodes.call.nodes(), ElementsAre(9));
    EXPECT_NE(nullptr, traced(spy, 169));
    EXPECT_THAT(queued(), ElementsAre(queued_marker()));
    EXPECT_EQ(-1, state_of_node(9));
}

// ---- Up ----

ISOLATED_TEST(NodeLivenessHandler, UpOfANodeThatTheServiceHasDownIsTracedAndNotTold) {
    Nodes nodes;
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_UP, 3));
    nodes.expect_contradicted();
    EXPECT_NE(nullptr, traced(spy, 174));
}

ISOLATED_TEST(NodeLivenessHandler, UpOfANodeReportedDeadWaitsUntilTheNodeSpeaks) {
    Nodes nodes;
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_UP, 3));
    nodes.expect_contradicted();
    EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
}

ISOLATED_TEST(NodeLivenessHandler, UpOfANodeKnownToBeUpIsNotToldAgain) {
    Nodes nodes;
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_UP, 3));
    nodes.expect_known_already(3);
}

ISOLATED_TEST(NodeLivenessHandler, UpTellsTheNodeNowAndQueuesAMarkerAndTheAdapters) {
    Nodes nodes;
    Nodes::put_down(3);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_UP, 3));
    EXPECT_EQ(JOIN, nodes.call.events);
    EXPECT_EQ("n", nodes.call.name);
    EXPECT_EQ(LOW_32_BITS, nodes.call.sequence);
    EXPECT_EQ(JOIN, nodes.call.group->Hb_events);
    EXPECT_THAT(nodes.call.nodes(), ElementsAre(3));
    EXPECT_THAT(queued(), ElementsAre(queued_marker(), queued_adapters(JOIN, {144, 145})));
    EXPECT_EQ(Hb_Entity_Up, state_of_node(3));
}

ISOLATED_TEST(NodeLivenessHandler, UpWhoseAdaptersAreNotToldQueuesTheMarkerAlone) {
    Nodes nodes;
    Nodes::put_down(3);
    nodes.client.service.fail(Operation::get_net_intf_info, -1, EIO, 1); // the update's own query works
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_UP, 3));
    EXPECT_EQ(JOIN, nodes.call.events);
    EXPECT_EQ(65, nodes.call.error);
    EXPECT_THAT(queued(), ElementsAre(queued_marker()));
}

ISOLATED_TEST(NodeLivenessHandler, UpOfANewNodeMakesItLiveWithTheMarker) {
    Nodes nodes;
    nodes.set_status(9, QZ_MOX_NODE_STATUS_UP);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_UP, 9));
    EXPECT_EQ(JOIN, nodes.call.events);
    EXPECT_EQ(-1, state_of_node(9));
    EXPECT_EQ(of_configuration(), nodes.client.take());
    EXPECT_EQ(Hb_Entity_Up, state_of_node(9));
}

// ---- Short memory ----

ISOLATED_TEST(NodeLivenessHandler, DownWhoseNodeEventCannotBeMadeIsTracedAndTellsTheAdapters) {
    Nodes nodes;
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    const Trace_Spy spy(0, 1, 0);
    const Fault_Guard fault = failing_large_allocations(SIZE_OF_AN_EVENT, 1);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(1, fault.hits());
    EXPECT_EQ(DEATH, nodes.call.events);
    EXPECT_EQ("a", nodes.call.name);
    EXPECT_EQ(0U, nodes.call.slot(144));
    ASSERT_NE(nullptr, traced(spy, 86));
    EXPECT_THAT(traced(spy, 86)->values, ElementsAre(3));
    EXPECT_THAT(queued(), ElementsAre(queued_marker()));
    EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
}

ISOLATED_TEST(NodeLivenessHandler, DownWhoseAdapterEventCannotBeMadeTellsTheNode) {
    Nodes nodes;
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    const Trace_Spy spy(0, 1, 0);
    const Fault_Guard fault = failing_large_allocations(SIZE_OF_AN_EVENT, 0, 2); // one for each adapter
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(2, fault.hits());
    EXPECT_EQ(DEATH, nodes.call.events);
    EXPECT_EQ("n", nodes.call.name);
    EXPECT_EQ(LOW_32_BITS, nodes.call.sequence);
    EXPECT_THAT(nodes.call.nodes(), ElementsAre(3));
    EXPECT_EQ(nullptr, traced(spy, 78));
    EXPECT_THAT(queued(), ElementsAre(queued_marker()));
    EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(144));
}

ISOLATED_TEST(NodeLivenessHandler, UpWithoutMemoryForItsEventsTellsTheNode) {
    Nodes nodes;
    Nodes::put_down(3);
    const Fault_Guard fault = failing_large_allocations(SIZE_OF_AN_EVENT, 0, -1);
    EXPECT_EQ(Hb_Success, nodes.push(QZ_ORB_EVENT_UP, 3));
    EXPECT_LE(2, fault.hits());
    EXPECT_EQ(JOIN, nodes.call.events);
    EXPECT_THAT(nodes.call.nodes(), ElementsAre(3));
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_EQ(Hb_Entity_Up, state_of_node(3));
}

// ---- Signalling ----

ISOLATED_TEST(NodeLivenessHandler, AWakeUpThatCannotBeWrittenIsError59AndLosesNoEvent) {
    Nodes nodes;
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    const Mute_Event_Pipe mute;
    EXPECT_EQ(Hb_Failure, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(59, nodes.call.error);
    EXPECT_EQ(EBADF, nodes.call.system_error);
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(DEATH, {3}), queued_marker()));
}

ISOLATED_TEST(NodeLivenessHandler, AFullPipeDoesNotBlockTheLibrary) {
    Nodes nodes;
    const char byte = 1;
    while (write(event_pipe_handler_p->getWriteFd(), &byte, 1) == 1) {
    }
    ASSERT_EQ(EAGAIN, errno);
    nodes.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    EXPECT_EQ(Hb_Failure, nodes.push(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(59, nodes.call.error);
    EXPECT_EQ(EAGAIN, nodes.call.system_error);
    // The available bytes wake the caller. The event reports that the pipe cannot be armed again.
    const Taken taken = nodes.client.take();
    EXPECT_EQ(DEATH, taken.events);
    EXPECT_THAT(taken.nodes, ElementsAre(3));
    EXPECT_EQ(59, taken.error);
    EXPECT_EQ(of_configuration(), nodes.client.take()) << "nothing is lost";
}

} // namespace
} // namespace hb_test
