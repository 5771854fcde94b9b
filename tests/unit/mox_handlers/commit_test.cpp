// SPDX-License-Identifier: Apache-2.0
// The events and the table of a commit, and the effect of preparations and commits in cluster-event mode.
#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/hb_global_data/event_queue.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/isolated.h"
#include "tests/unit/mox_handlers/handler_call.h"
#include "tests/unit/mox_handlers/moving.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr Operation ALL_QUERIES[] = {Operation::get_cluster_info, Operation::get_node_info,
                                     Operation::get_net_intf_info};

void prepare_and_commit() {
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
}

// In cluster-event mode, after all events of the migration have been read.
struct Moved : Moving {
    Moved() {
        prepare_and_commit();
        client.take_all();
    }
    void set_status(uint32_t number, qz_mox_node_status_t status) {
        mox_sim::Node node;
        node.number = number;
        node.status = status;
        client.service.set(node);
    }
    void rename(uint32_t node, const std::string &from, const std::string &to) {
        client.service.remove_interface(node, from);
        mox_sim::Interface interface;
        interface.node = node;
        interface.name = to;
        interface.address = mox_sim::address_of("10.9.0." + std::to_string(node));
        client.service.set(interface);
    }
};

std::string name_of(unsigned adapter) {
    char name[HB_ADAPTER_TYPE_SIZE] = "";
    return hb_get_adapter_type_by_number(adapter, name) == Hb_Success ? name : "unknown";
}

bool numbers_fit_geometry() {
    for (int i = 0; i < global_config_tbl.Hb_num_adapters; ++i) {
        const Hb_Adapter_Entry &adapter = global_config_tbl.Hb_global_adapter_list[i];
        Hb_Node_Number node = -1;
        if (hb_get_node_number_by_adapter_number(adapter.Hb_adapter_num, &node) != Hb_Success ||
            global_node_tbl[node] == Hb_False) {
            return false;
        }
    }
    return true;
}

// ---- A query that fails ----

ISOLATED_TEST(Commit, WhoseQueryFailsUsesThePreparedTableAndKeepsTheQuerysNumber) {
    const int numbers[] = {63, 64, 65};
    for (std::size_t i = 0; i < std::size(ALL_QUERIES); ++i) {
        Moving moving;
        ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
        moving.client.service.fail(ALL_QUERIES[i], -1, EIO);
        EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
        EXPECT_EQ(numbers[i], hb_get_errno());
        EXPECT_THAT(queued(), ElementsAre(queued_marker(), queued_nodes(JOIN, {3}),
                                          queued_adapters(JOIN, {97, 144, 145})));
        moving.client.take_all();
        EXPECT_EQ(4, global_config_tbl.Hb_num_nodes);
        EXPECT_EQ(48, global_config_tbl.Hb_adapters_per_node);
        EXPECT_TRUE(numbers_fit_geometry());
        ASSERT_EQ(Hb_Success, hb_terminate());
        IsMOX = false; // as in a new process
    }
}

// Later events are newer than what the preparation read.
ISOLATED_TEST(Commit, WhoseQueryFailsReportsNothingThatAnEventSinceThePreparationContradicts) {
    {
        Moving moving;
        ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
        moving.daemon.run(send_record(reply(2, Bytes().i32(0).i32(3).i32(1)))); // adapter 3 died
        ASSERT_TRUE(moving.daemon.wait_steps_done());
        int *descriptors = nullptr;
        int count = 0;
        ASSERT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
        Hb_Name name = {};
        int events = 0;
        unsigned long sequence = 0;
        ASSERT_EQ(Hb_Success, hb_get_event_message(descriptors, nullptr, &events, name,
                                                   moving.client.group.get(), &sequence));
        hb_free_file_descriptor_array(descriptors);
        ASSERT_EQ(DEATH, events);
        moving.client.service.fail(Operation::get_node_info, -1, EIO);
        ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
        EXPECT_THAT(moving.client.take_all(), ElementsAre(of_configuration())) << "and no join of the adapter";
        ASSERT_EQ(Hb_Success, hb_terminate());
        IsMOX = false; // as in a new process
    }
    Moved moved;
    moved.client.service.node_down(3);
    moved.client.take_all();
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    moved.client.service.node_up(3);
    EXPECT_EQ(JOIN, moved.client.take().events);
    moved.client.take_all();
    moved.client.service.fail(Operation::get_node_info, -1, EIO);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_THAT(moved.client.take_all(), ElementsAre(of_configuration())) << "and no death of the node";
}

ISOLATED_TEST(Commit, WithoutAnyAnswerReportsNoDeathAndTheDaemonsTableStays) {
    Moving moving;
    const int stride = global_config_tbl.Hb_adapters_per_node;
    ASSERT_NE(48, stride);
    moving.client.service.fail(Operation::get_node_info, -1, EIO);
    ASSERT_EQ(Hb_Failure, hb_migrate_to_mox_prep()); // which keeps the handlers
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_EQ(64, hb_get_errno());
    EXPECT_THAT(moving.client.take_all(), ElementsAre(of_configuration())) << "always one marker";
    EXPECT_EQ(stride, global_config_tbl.Hb_adapters_per_node);
    EXPECT_EQ(3, Moving::nodes());
    EXPECT_TRUE(numbers_fit_geometry());

    // While the service does not answer, a death is known only from its record, with the daemon's numbers.
    moving.client.service.node_down(2);
    const Taken death = moving.client.take();
    EXPECT_EQ(DEATH, death.events);
    EXPECT_THAT(death.adapters, testing::Not(IsEmpty()));
    for (const unsigned adapter : death.adapters) {
        EXPECT_EQ(2U, adapter / static_cast<unsigned>(stride));
    }
    EXPECT_EQ(of_nodes(DEATH, "n", {2}), moving.client.take());
    EXPECT_THAT(moving.client.take_all(), testing::Each(testing::Field(&Taken::events, 0)));
    EXPECT_EQ(stride, global_config_tbl.Hb_adapters_per_node);
    EXPECT_TRUE(numbers_fit_geometry());

    // The next successful reading completes the commit, also a reading for a node's record.
    moving.client.service.heal(Operation::get_node_info);
    moving.client.service.node_up(2);
    const std::vector<Taken> all = moving.client.take_all();
    EXPECT_THAT(all, Contains(of_nodes(JOIN, "n", {2, 3})));
    EXPECT_THAT(all, Contains(of_configuration()));
    EXPECT_EQ(48, global_config_tbl.Hb_adapters_per_node);
    EXPECT_TRUE(numbers_fit_geometry());
    EXPECT_EQ(4, Moving::nodes());
}

ISOLATED_TEST(Commit, InClusterEventModeWhoseQueryFailsReportsNoDeath) {
    Moved moved;
    moved.client.service.fail(Operation::get_net_intf_info, -1, EIO);
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_EQ(65, hb_get_errno());
    EXPECT_THAT(moved.client.take_all(), ElementsAre(of_configuration()));
    EXPECT_EQ(4, Moving::nodes());
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(144));
}

ISOLATED_TEST(Commit, WithAPreparedTableKeepsWhatPeersReportedSince) {
    Moved moved;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    moved.client.service.fail(Operation::get_node_info, -1, EIO);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_THAT(moved.client.take_all(), ElementsAre(of_configuration()));
    EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
    EXPECT_EQ(Hb_Entity_State_Reason_KOBAL_Down, reason_of_node(3));
}

// ---- Whole nodes, and the marker ----

ISOLATED_TEST(Commit, ReportsNodesThatBothKnowAndHoldInOtherStates) {
    Moving moving;
    set_node(1, Hb_Entity_Up, Hb_Entity_State_Reason_Up);
    set_node(2, Hb_Entity_Up, Hb_Entity_State_Reason_Up);
    set_node(4, Hb_Entity_Down, Hb_Entity_State_Reason_Down);
    mox_sim::Node node;
    node.number = 2;
    node.status = QZ_MOX_NODE_STATUS_DOWN;
    moving.client.service.set(node);
    prepare_and_commit();
    const std::vector<Queued> all = queued();
    EXPECT_THAT(all, Contains(queued_nodes(DEATH, {2})));
    EXPECT_THAT(all, Contains(queued_nodes(JOIN, {3, 4})));
    const auto place = [&](const Queued &one) { return std::find(all.begin(), all.end(), one) - all.begin(); };
    EXPECT_LT(place(queued_nodes(DEATH, {2})), place(queued_marker()));
    EXPECT_LT(place(queued_marker()), place(queued_nodes(JOIN, {3, 4})));
    EXPECT_EQ(1, std::count(all.begin(), all.end(), queued_marker()));
}

ISOLATED_TEST(Commit, OfANodeThatIsUndefinedReportsNothing) {
    Moving moving;
    set_node(2, Hb_Entity_Undef, Hb_Entity_State_Reason_Down);
    mox_sim::Node node;
    node.number = 2;
    node.status = QZ_MOX_NODE_STATUS_DOWN;
    moving.client.service.set(node);
    node.number = 4;
    node.status = QZ_MOX_NODE_STATUS_UNDEF;
    moving.client.service.set(node);
    set_node(4, Hb_Entity_Up, Hb_Entity_State_Reason_Up);
    prepare_and_commit();
    for (const Queued &event : queued()) {
        EXPECT_THAT(event.nodes, testing::AnyOf(IsEmpty(), ElementsAre(3)));
    }
}

ISOLATED_TEST(Commit, WithoutAnyDifferenceQueuesOneMarkerAndTheTableChangesWithIt) {
    Moved moved;
    const Hb_Adapter_Entry *before = global_config_tbl.Hb_global_adapter_list;
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_THAT(queued(), ElementsAre(queued_marker()));
    EXPECT_EQ(before, global_config_tbl.Hb_global_adapter_list) << "not before the marker";
    EXPECT_THAT(moved.client.take_all(), ElementsAre(of_configuration()));
    EXPECT_NE(before, global_config_tbl.Hb_global_adapter_list);
}

ISOLATED_TEST(Commit, WithOtherStatesOnlyPutsTheMarkerBetweenDeathsAndJoins) {
    Moved moved;
    for (mox_sim::Interface interface : moved.client.service.interfaces()) {
        if (interface.node == 2 && interface.name == "eth0") {
            interface.status = QZ_MOX_INTF_STATUS_DOWN;
            moved.client.service.set(interface);
        }
    }
    global_config_tbl.Hb_global_adapter_list[1].Hb_state = Hb_Entity_Down; // already reported
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_THAT(queued(),
                ElementsAre(queued_adapters(DEATH, {96}), queued_marker(), queued_adapters(JOIN, {49})));
}

// ---- A second commit ----

ISOLATED_TEST(SecondCommit, ReportsNothingAgainThatIsStillQueued) {
    Moving moving;
    moving.client.service.remove_interface(1, "eth1");
    prepare_and_commit();
    const std::vector<Queued> first = queued();
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    std::vector<Queued> both = first;
    both.push_back(queued_marker());
    EXPECT_EQ(both, queued());
}

ISOLATED_TEST(SecondCommit, EachMarkerMakesItsOwnTableLive) {
    Moving moving;
    ASSERT_NE(48, global_config_tbl.Hb_adapters_per_node);
    moving.client.service.remove_interface(1, "eth1");
    prepare_and_commit();                              // death of the daemon's adapter 3, marker, joins
    moving.client.service.remove_interface(2, "eth0"); // so that eth1 has the first number of node 2
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    const std::string daemons_name = name_of(3);
    EXPECT_EQ(of_adapters(DEATH, "a", {3}), moving.client.take());
    EXPECT_EQ(daemons_name, name_of(3)) << "the number is the daemon's until the marker";
    EXPECT_EQ(of_configuration(), moving.client.take());
    EXPECT_EQ("eth0", name_of(96));
    EXPECT_EQ("eth1", name_of(97));
    EXPECT_EQ(of_nodes(JOIN, "n", {3}), moving.client.take());
    EXPECT_EQ(of_adapters(JOIN, "a", {97, 144, 145}), moving.client.take());
    EXPECT_EQ("eth1", name_of(97));
    // Now the second commit: eth0 of node 2 left.
    EXPECT_EQ(of_adapters(DEATH, "a", {96}), moving.client.take());
    EXPECT_EQ("eth0", name_of(96)) << "and not the one that has the number afterwards";
    EXPECT_EQ(of_configuration(), moving.client.take());
    EXPECT_EQ("eth1", name_of(96));
    EXPECT_THAT(moving.client.take_all(), testing::Each(testing::Field(&Taken::events, 0)));
}

ISOLATED_TEST(SecondCommit, AMarkerWithoutATableDoesNotMakeALaterTableLive) {
    Moved moved;
    moved.client.service.fail(Operation::get_node_info, -1, EIO);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit()); // a marker without a table
    moved.client.service.heal(Operation::get_node_info);
    moved.client.service.remove_interface(3, "eth0");  // so that eth1 has the first number of node 3
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit()); // death of 144, marker, table
    EXPECT_EQ(of_configuration(), moved.client.take());
    EXPECT_EQ("eth0", name_of(144)) << "the first marker has no table";
    EXPECT_EQ(of_adapters(DEATH, "a", {144}), moved.client.take());
    EXPECT_EQ("eth0", name_of(144));
    EXPECT_EQ(of_configuration(), moved.client.take());
    EXPECT_EQ("eth1", name_of(144));
}

ISOLATED_TEST(SecondCommit, TheNodesThatQueriesKnowFollowTheMarkers) {
    Moved moved;
    moved.set_status(7, QZ_MOX_NODE_STATUS_UP);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit()); // marker, join of node 7
    moved.client.service.remove_node(7);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit()); // death of node 7, marker
    EXPECT_EQ(of_configuration(), moved.client.take());
    EXPECT_EQ(5, Moving::nodes());
    EXPECT_EQ(of_nodes(JOIN, "n", {7}), moved.client.take());
    EXPECT_EQ(Hb_True, global_node_tbl[7]) << "the event names a configured node";
    EXPECT_EQ(of_nodes(DEATH, "n", {7}), moved.client.take());
    EXPECT_EQ(of_configuration(), moved.client.take());
    EXPECT_EQ(4, Moving::nodes());
}

ISOLATED_TEST(SecondCommit, AMessageThatRevivedANodeIsNotForgottenWithTheNextMarker) {
    Moved moved;
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    ASSERT_EQ(Hb_Success, hb_mox_msg_received_from(3));
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_EQ(of_nodes(JOIN, "n", {3}), moved.client.take());
    EXPECT_EQ(of_configuration(), moved.client.take());
    EXPECT_EQ(Hb_Entity_Up, state_of_node(3));
}

ISOLATED_TEST(SecondCommit, ThatFindsTheNodeDownMakesAnEarlierMessageNoNews) {
    Moved moved;
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    ASSERT_EQ(Hb_Success, hb_mox_msg_received_from(3));
    moved.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    for (const Taken &event : moved.client.take_all()) {
        EXPECT_THAT(event.nodes, IsEmpty()) << "its death was reported, and it is dead";
    }
    EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
}

ISOLATED_TEST(SecondCommit, ThatFindsTheNodeGoneMakesAnEarlierMessageNoNews) {
    Moved moved;
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    ASSERT_EQ(Hb_Success, hb_mox_msg_received_from(3));
    moved.client.service.remove_node(3);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    for (const Taken &event : moved.client.take_all()) {
        EXPECT_THAT(event.nodes, IsEmpty()) << "its death was reported, and it is gone";
    }
    EXPECT_EQ(3, Moving::nodes());
}

ISOLATED_TEST(SecondCommit, ThatBringsBackANodeWhichHadGoneReportsItsJoinOnce) {
    Moved moved;
    const mox_sim::Node node = moved.client.service.nodes().at(2);
    ASSERT_EQ(3U, node.number);
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    ASSERT_EQ(Hb_Success, hb_mox_msg_received_from(3));
    moved.client.service.remove_node(3);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    moved.client.service.set(node);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    int joins = 0;
    for (const Taken &event : moved.client.take_all()) {
        joins += event.events == JOIN && !event.nodes.empty() ? 1 : 0;
    }
    EXPECT_EQ(1, joins);
    EXPECT_EQ(Hb_Entity_Up, state_of_node(3));
}

// ---- A preparation in cluster-event mode ----

ISOLATED_TEST(SecondPreparation, ThatIsRefusedLeavesTheHandlersThatWereThere) {
    for (const bool other_local_node : {true, false}) {
        Moved moved;
        if (other_local_node) {
            moved.client.service.set_cluster("small", 2);
        } else {
            moved.client.service.remove_node(3);
        }
        EXPECT_EQ(Hb_Failure, hb_migrate_to_mox_prep());
        EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
        EXPECT_EQ(4, Moving::nodes()) << "what was known stays";
        moved.client.service.set_cluster("small", 1);
        moved.client.service.push("adapter_liveness", adapter_record(QZ_ORB_EVENT_DOWN, 2, "eth0"));
        EXPECT_EQ(of_adapters(DEATH, "a", {96}), moved.client.take()) << "events go on";
        ASSERT_EQ(Hb_Success, hb_terminate());
        IsMOX = false; // as in a new process
        migrate_to_mox_prep = false;
    }
}

ISOLATED_TEST(SecondPreparation, ThatCannotMakeItsHandlersDeletesThoseThatItMade) {
    Moved moved;
    ASSERT_EQ(Hb_Success, hb_terminate());
    ASSERT_EQ(Hb_Success, hb_init());
    moved.client.service.fail(Operation::open_monitor, -1, EIO, 3);
    EXPECT_EQ(Hb_Failure, hb_migrate_to_mox_prep());
    EXPECT_EQ(74, hb_get_errno());
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_EQ(nullptr, event_pipe_handler_p);
    moved.client.service.heal(Operation::open_monitor);
    prepare_and_commit();
    EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
}

ISOLATED_TEST(SecondPreparation, ThatIsRefusedIsNoTableForALaterCommit) {
    Moved moved;
    moved.client.service.set_cluster("small", 2);
    ASSERT_EQ(Hb_Failure, hb_migrate_to_mox_prep());
    moved.client.service.set_cluster("small", 1);
    moved.client.service.fail(Operation::get_node_info, -1, EIO);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_THAT(moved.client.take_all(), ElementsAre(of_configuration()));
    EXPECT_EQ(1, global_config_tbl.local_node_number);
}

ISOLATED_TEST(SecondPreparation, ThatIsAbortedIsNoTableForALaterCommit) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_abort());
    moving.client.service.fail(Operation::get_node_info, -1, EIO);
    ASSERT_EQ(Hb_Failure, hb_migrate_to_mox_prep()); // which keeps the handlers
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_THAT(moving.client.take_all(), ElementsAre(of_configuration()));
    EXPECT_EQ(3, Moving::nodes());
}

ISOLATED_TEST(Commit, WhoseQueryFailsKeepsWhatIsUnreadToBeReported) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    moving.client.service.node_down(2);
    moving.client.service.fail(Operation::get_node_info, -1, EIO);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    moving.client.service.heal(Operation::get_node_info);
    EXPECT_THAT(moving.client.take_all(), Contains(of_nodes(DEATH, "n", {2})));
}

// ---- Opened anew ----

ISOLATED_TEST(ReopenedLibrary, AQueuedMarkerDoesNotBringAnOlderTableBack) {
    Moved moved;
    moved.client.service.remove_interface(3, "eth1");
    moved.client.service.push("adapter_liveness", adapter_record(QZ_ORB_EVENT_DELETE, 3, "eth1"));
    EXPECT_EQ(of_adapters(DEATH, "a", {145}), moved.client.take());
    ASSERT_THAT(queued(), ElementsAre(queued_marker()));
    ASSERT_EQ(Hb_Success, hb_terminate());
    EXPECT_THAT(queued(), ElementsAre(queued_marker())) << "queued events outlive the session";
    moved.client.service.remove_interface(3, "eth0");
    ASSERT_EQ(Hb_Success, hb_init());
    prepare_and_commit();
    EXPECT_EQ(4, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(of_configuration(), moved.client.take()) << "the old one";
    EXPECT_EQ(4, global_config_tbl.Hb_num_adapters);
}

// The wake-ups of the previous handler were lost with its pipe.
ISOLATED_TEST(ReopenedLibrary, AQueuedMessageDoesNotHoldUpWhatIsQueuedBehindIt) {
    Moved moved;
    ASSERT_EQ(Hb_Success, hb_mox_msg_received_from(2)); // no change
    ASSERT_EQ(Hb_Success, hb_mox_msg_received_from(3));
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_abort());
    moved.set_status(7, QZ_MOX_NODE_STATUS_UP);
    prepare_and_commit();
    EXPECT_THAT(moved.client.take_all(), Contains(of_nodes(JOIN, "n", {7})));
    EXPECT_THAT(queued(), IsEmpty());
}

ISOLATED_TEST(ReopenedLibrary, NodesThatDiedWhileNoMonitorWasOpenAreReportedByTheFirstUpdate) {
    Moved moved;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_abort());
    moved.client.service.node_down(3);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    mox_sim::Event_Record reconfiguration;
    reconfiguration.is_reconfiguration = true;
    moved.client.service.push("cluster_reconfig", reconfiguration);
    EXPECT_THAT(moved.client.take_all(), Contains(of_nodes(DEATH, "n", {3})));
}

} // namespace
} // namespace hb_test
