// SPDX-License-Identifier: Apache-2.0
// A service that does not answer: no event is invented, and none is lost.
#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

struct Outage {
    Outage() { client.open(); }

    void begin(Operation operation = Operation::get_cluster_info) {
        failing = operation;
        client.service.fail(operation, -1, EIO);
    }
    void end() { client.service.heal(failing); }
    Hb_Rc reconfigure() {
        mox_sim::Event_Record event;
        event.is_reconfiguration = true;
        client.service.push("cluster_reconfig", event);
        return call.run(cluster_reconfig_handler_p);
    }
    Hb_Rc node(qz_orb_event_type_t type, uint32_t number) {
        client.service.push("node_liveness", node_record(type, number, 9));
        return call.run(node_liveness_handler_p);
    }
    void set_status(uint32_t number, qz_mox_node_status_t status) {
        mox_sim::Node node;
        node.number = number;
        node.status = status;
        client.service.set(node);
    }
    // Changes the state without an event, so that only a query finds it.
    void set_all_of_node(uint32_t number, bool up) {
        set_status(number, up ? QZ_MOX_NODE_STATUS_UP : QZ_MOX_NODE_STATUS_DOWN);
        for (mox_sim::Interface interface : client.service.interfaces()) {
            if (interface.node == number) {
                interface.status = up ? QZ_MOX_INTF_STATUS_UP : QZ_MOX_INTF_STATUS_DOWN;
                client.service.set(interface);
            }
        }
    }
    void expect_nothing_told() {
        EXPECT_EQ(0, call.events);
        EXPECT_EQ("<EMPTY EVENT>", call.name);
        EXPECT_EQ(0U, call.sequence);
        EXPECT_TRUE(call.group_is_untouched());
    }

    Cluster_Client client;
    Handler_Call call;
    Operation failing = Operation::get_cluster_info;
};

// ---- Changes of the configuration ----

ISOLATED_TEST(Outage, AnUpdateWithoutAnAnswerFailsAndReportsAndChangesNothing) {
    const std::pair<Operation, int> cases[] = {
        {Operation::get_cluster_info, 63}, {Operation::get_node_info, 64}, {Operation::get_net_intf_info, 65}};
    for (const auto &[operation, number] : cases) {
        Outage outage;
        outage.client.service.remove_node(3);
        outage.begin(operation);
        EXPECT_EQ(Hb_Failure, outage.reconfigure());
        EXPECT_EQ(number, outage.call.error);
        outage.expect_nothing_told();
        EXPECT_THAT(queued(), IsEmpty());
        EXPECT_FALSE(outage.client.is_readable()) << "the pipe has no byte";
        int nodes = 0;
        EXPECT_EQ(Hb_Success, hb_get_number_of_configured_nodes(&nodes));
        EXPECT_EQ(3, nodes);
        EXPECT_EQ(Hb_Entity_Up, state_of_node(3));
        EXPECT_EQ(Hb_Entity_Up, state_of_adapter(144));
        ASSERT_EQ(Hb_Success, hb_terminate());
    }
}

ISOLATED_TEST(Outage, ACallThatMeetsItFailsWithTheQueriesNumber) {
    Outage outage;
    outage.begin(Operation::get_node_info_after_event);
    outage.client.service.push("node_list", node_record(QZ_ORB_EVENT_DELETE, 3));
    const Taken taken = outage.client.take();
    EXPECT_EQ(Hb_Failure, taken.result);
    EXPECT_EQ(64, taken.error);
    EXPECT_EQ(0, taken.events);
    EXPECT_EQ("<EMPTY EVENT>", taken.name);
}

ISOLATED_TEST(Outage, TheNextUpdateReportsWhatHappenedMeanwhileAndNothingTwice) {
    Outage outage;
    outage.client.service.remove_interface(2, "eth1");
    outage.begin();
    ASSERT_EQ(Hb_Failure, outage.reconfigure());
    ASSERT_EQ(Hb_Failure, outage.reconfigure());
    outage.end();
    EXPECT_EQ(Hb_Success, outage.reconfigure());
    EXPECT_EQ(DEATH, outage.call.events);
    EXPECT_THAT(outage.call.adapters(), ElementsAre(97));
    EXPECT_THAT(outage.client.take_all(), ElementsAre(of_configuration()));
    EXPECT_EQ(Hb_Success, outage.reconfigure());
    EXPECT_EQ(CONFIG, outage.call.events);
    EXPECT_THAT(queued(), IsEmpty());
}

ISOLATED_TEST(Outage, TheNextUpdateReportsNodesThatDiedOrReturnedMeanwhile) {
    Outage outage;
    outage.begin(Operation::get_node_info_after_event);
    outage.client.service.push("node_list", node_record(QZ_ORB_EVENT_DELETE, 3));
    ASSERT_EQ(Hb_Failure, outage.call.run(node_list_handler_p));
    outage.set_all_of_node(3, false); // it left, and is configured again
    outage.end();
    EXPECT_EQ(Hb_Success, outage.reconfigure());
    EXPECT_EQ(DEATH, outage.call.events);
    EXPECT_THAT(outage.call.adapters(), ElementsAre(144, 145));
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(DEATH, {3}), queued_marker()));
    outage.client.take_all();

    outage.begin(Operation::get_node_info_after_event);
    outage.client.service.push("node_list", node_record(QZ_ORB_EVENT_DELETE, 3));
    ASSERT_EQ(Hb_Failure, outage.call.run(node_list_handler_p));
    outage.set_all_of_node(3, true);
    outage.end();
    EXPECT_EQ(Hb_Success, outage.reconfigure());
    EXPECT_EQ(CONFIG, outage.call.events);
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(JOIN, {3}), queued_adapters(JOIN, {144, 145})));
    outage.client.take_all();

    outage.set_status(2, QZ_MOX_NODE_STATUS_DOWN); // its own record is still unread
    EXPECT_EQ(Hb_Success, outage.reconfigure());
    EXPECT_EQ(CONFIG, outage.call.events) << "nothing is owed any more";
    EXPECT_THAT(queued(), IsEmpty());
}

ISOLATED_TEST(Outage, ANodeThatIsUndefinedCountsAsNeitherUpNorDown) {
    Outage outage;
    outage.begin();
    ASSERT_EQ(Hb_Failure, outage.reconfigure());
    outage.end();
    outage.set_status(3, QZ_MOX_NODE_STATUS_UNDEF);
    EXPECT_EQ(Hb_Success, outage.reconfigure());
    EXPECT_EQ(CONFIG, outage.call.events);
    EXPECT_THAT(queued(), IsEmpty());
}

// ---- Nodes that die and return: the record itself is the evidence ----

ISOLATED_TEST(Outage, ADeathIsReportedByItsRecordAndOnce) {
    Outage outage;
    outage.begin(Operation::get_node_info_after_event);
    EXPECT_EQ(Hb_Success, outage.node(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(64, outage.call.error);
    EXPECT_EQ(DEATH, outage.call.events);
    EXPECT_EQ("a", outage.call.name);
    EXPECT_THAT(outage.call.adapters(), ElementsAre(144, 145));
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(DEATH, {3}))) << "no marker without a table";
    EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
    EXPECT_EQ(Hb_Entity_State_Reason_Down, reason_of_node(3));
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(144));
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(145));
    EXPECT_THAT(outage.client.take_all(), ElementsAre(of_nodes(DEATH, "n", {3})));

    EXPECT_EQ(Hb_Success, outage.node(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(0, outage.call.events);
    EXPECT_EQ("<EMPTY EVENT>", outage.call.name);
    EXPECT_EQ(9U, outage.call.sequence);
    EXPECT_THAT(outage.call.nodes(), ElementsAre(3));
    EXPECT_THAT(queued(), IsEmpty());

    outage.set_all_of_node(3, false);
    outage.end();
    EXPECT_EQ(Hb_Success, outage.reconfigure());
    EXPECT_EQ(CONFIG, outage.call.events);
    EXPECT_THAT(queued(), IsEmpty()) << "the next table holds nothing new";
}

ISOLATED_TEST(Outage, AReturnIsReportedByItsRecordAndOnce) {
    Outage outage;
    outage.client.service.node_down(3);
    outage.client.take_all();
    outage.set_all_of_node(3, false);
    ASSERT_EQ(Hb_Success, outage.reconfigure());
    outage.client.take_all();
    ASSERT_EQ(Hb_Entity_Down, state_of_adapter(144));

    outage.set_all_of_node(3, true);
    outage.begin(Operation::get_node_info_after_event);
    EXPECT_EQ(Hb_Success, outage.node(QZ_ORB_EVENT_UP, 3));
    EXPECT_EQ(64, outage.call.error);
    EXPECT_EQ(JOIN, outage.call.events);
    EXPECT_EQ("n", outage.call.name);
    EXPECT_THAT(outage.call.nodes(), ElementsAre(3));
    EXPECT_THAT(queued(), ElementsAre(queued_adapters(JOIN, {144, 145})));
    EXPECT_EQ(Hb_Entity_Up, state_of_node(3));
    EXPECT_EQ(Hb_Entity_State_Reason_Up, reason_of_node(3));
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(144));
    EXPECT_THAT(outage.client.take_all(), ElementsAre(of_adapters(JOIN, "a", {144, 145})));

    EXPECT_EQ(Hb_Success, outage.node(QZ_ORB_EVENT_UP, 3));
    EXPECT_EQ(0, outage.call.events);
    EXPECT_THAT(queued(), IsEmpty());
    outage.end();
    EXPECT_EQ(Hb_Success, outage.reconfigure());
    EXPECT_EQ(CONFIG, outage.call.events);
    EXPECT_THAT(queued(), IsEmpty());
}

ISOLATED_TEST(Outage, AReturnWithoutAnyAnswerLeavesTheAdaptersToTheNextUpdate) {
    Outage outage;
    outage.begin();
    ASSERT_EQ(Hb_Success, outage.node(QZ_ORB_EVENT_DOWN, 3));
    outage.client.take_all();
    outage.client.service.fail(Operation::get_net_intf_info, -1, EIO);
    EXPECT_EQ(Hb_Success, outage.node(QZ_ORB_EVENT_UP, 3));
    EXPECT_EQ(JOIN, outage.call.events);
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(144));
    outage.client.service.heal(Operation::get_net_intf_info);
    outage.end();
    EXPECT_EQ(Hb_Success, outage.reconfigure());
    EXPECT_EQ(CONFIG, outage.call.events);
    EXPECT_THAT(outage.client.take_all(), ElementsAre(of_adapters(JOIN, "a", {144, 145})));
}

ISOLATED_TEST(Outage, ANodeThatWasNotKnownIsRememberedFromItsRecord) {
    for (const bool dies : {true, false}) {
        Outage outage;
        outage.begin();
        EXPECT_EQ(Hb_Success, outage.node(dies ? QZ_ORB_EVENT_DOWN : QZ_ORB_EVENT_UP, 9));
        EXPECT_EQ(dies ? DEATH : JOIN, outage.call.events);
        EXPECT_THAT(outage.call.nodes(), ElementsAre(9));
        EXPECT_THAT(queued(), IsEmpty());
        EXPECT_EQ(dies ? Hb_Entity_Down : Hb_Entity_Up, state_of_node(9));
        EXPECT_EQ(Hb_True, global_node_tbl[9]);
        EXPECT_EQ(4, global_num_nodes);
        EXPECT_EQ(Hb_Success, outage.node(dies ? QZ_ORB_EVENT_DOWN : QZ_ORB_EVENT_UP, 9));
        EXPECT_EQ(0, outage.call.events) << "the second record is no news";
        ASSERT_EQ(Hb_Success, hb_terminate());
        MOX_set_comparison_due(false); // as in a new process
    }
}

ISOLATED_TEST(Outage, ANodeWhoseJoiningWasMissedIsReportedByAWholeReading) {
    for (const bool dies : {true, false}) {
        Outage outage;
        outage.begin();
        outage.client.service.push("node_list", node_record(QZ_ORB_EVENT_ADD, 9));
        ASSERT_EQ(Hb_Failure, outage.call.run(node_list_handler_p));
        outage.set_status(9, dies ? QZ_MOX_NODE_STATUS_DOWN : QZ_MOX_NODE_STATUS_UP);
        outage.end();
        outage.client.service.push("node_liveness", node_record(dies ? QZ_ORB_EVENT_DOWN : QZ_ORB_EVENT_UP, 9));
        const std::vector<Taken> all = outage.client.take_all();
        if (dies) {
            EXPECT_THAT(all, ElementsAre(of_configuration())) << "its join was never reported";
        } else {
            EXPECT_THAT(all, ElementsAre(of_configuration(), of_nodes(JOIN, "n", {9})));
        }
        EXPECT_EQ(dies ? Hb_Entity_Down : Hb_Entity_Up, state_of_node(9));
        ASSERT_EQ(Hb_Success, hb_terminate());
        MOX_set_comparison_due(false); // as in a new process
    }
}

ISOLATED_TEST(Outage, ADeathThatAPeerReportedBeforeTellsTheAdaptersAndTheNodeNotAgain) {
    Outage outage;
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    outage.begin();
    EXPECT_EQ(Hb_Success, outage.node(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(DEATH, outage.call.events);
    EXPECT_THAT(outage.call.adapters(), ElementsAre(144, 145));
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_EQ(Hb_Entity_State_Reason_Down, reason_of_node(3));

    set_node(2, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    global_config_tbl.Hb_global_adapter_list[2].Hb_state = Hb_Entity_Down;
    global_config_tbl.Hb_global_adapter_list[3].Hb_state = Hb_Entity_Down;
    EXPECT_EQ(Hb_Success, outage.node(QZ_ORB_EVENT_DOWN, 2));
    EXPECT_EQ(0, outage.call.events) << "its adapters were down already";
    EXPECT_EQ("<EMPTY EVENT>", outage.call.name);
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_EQ(Hb_Entity_State_Reason_Down, reason_of_node(2));
    EXPECT_EQ(3, global_config_tbl.Hb_num_nodes);
}

ISOLATED_TEST(Outage, APeersVerdictOutlivesTheRecordOfAReturn) {
    Outage outage;
    set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    outage.begin();
    EXPECT_EQ(Hb_Success, outage.node(QZ_ORB_EVENT_UP, 3));
    outage.expect_nothing_told();
    EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
    EXPECT_EQ(Hb_Entity_State_Reason_KOBAL_Down, reason_of_node(3));
}

ISOLATED_TEST(Outage, ADeathReadDuringItAndAReturnAfterItAreBothReported) {
    Outage outage;
    outage.begin();
    outage.client.service.push("node_liveness", node_record(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(of_adapters(DEATH, "a", {144, 145}).adapters, outage.client.take().adapters);
    EXPECT_EQ(of_nodes(DEATH, "n", {3}), outage.client.take());
    outage.end();
    Taken join = of_nodes(JOIN, "n", {3});
    join.sequence = 7;
    outage.client.service.push("node_liveness", node_record(QZ_ORB_EVENT_UP, 3, 7));
    EXPECT_THAT(outage.client.take_all(),
                ElementsAre(join, of_configuration(), of_adapters(JOIN, "a", {144, 145})));
}

} // namespace
} // namespace hb_test
