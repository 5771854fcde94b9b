// SPDX-License-Identifier: Apache-2.0
// The membership daemons of other nodes, the repository disk, the node list and reconfigurations.
#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/hb_global_data/subscription_names.h"
#include "lib/mox/handlers/MOX_ORBFSRepositoryDiskHandler.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

struct Peers {
    Peers() { client.open(); }

    Hb_Rc push(qz_orb_event_type_t type, uint32_t node) {
        mox_sim::Event_Record record = node_record(type, node);
        record.category = QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS;
        client.service.push("peer_gs_liveness", record);
        return call.run(peer_GS_liveness_handler_p);
    }
    void expect_no_news(int node) {
        EXPECT_EQ(0, call.events);
        EXPECT_EQ("<EMPTY EVENT>", call.name);
        EXPECT_EQ(0U, call.sequence);
        EXPECT_EQ(0, call.group->Hb_group_type);
        EXPECT_EQ(0, call.group->Hb_events);
        EXPECT_THAT(call.nodes(), ElementsAre(node));
        EXPECT_THAT(queued(), IsEmpty());
    }

    Cluster_Client client;
    Handler_Call call;
};

ISOLATED_TEST(PeerHandler, DownReportsTheNodeDead) {
    Peers peers;
    EXPECT_EQ(Hb_Success, peers.push(QZ_ORB_EVENT_DOWN, 2));
    EXPECT_EQ(DEATH, peers.call.events);
    EXPECT_EQ("n", peers.call.name);
    EXPECT_EQ(0U, peers.call.sequence);
    EXPECT_EQ(0, peers.call.group->Hb_group_type);
    EXPECT_EQ(0, peers.call.group->Hb_group_status);
    EXPECT_EQ(DEATH, peers.call.group->Hb_events);
    EXPECT_EQ(1, peers.call.node_count());
    EXPECT_THAT(peers.call.nodes(), ElementsAre(2)) << "the list was cleared first";
    EXPECT_EQ(Hb_Entity_Down, state_of_node(2));
    EXPECT_EQ(Hb_Entity_State_Reason_KOBAL_Down, reason_of_node(2));
    EXPECT_THAT(queued(), IsEmpty());
}

ISOLATED_TEST(PeerHandler, UpRevivesANodeThatWasReportedDead) {
    Peers peers;
    ASSERT_EQ(Hb_Success, peers.push(QZ_ORB_EVENT_DOWN, 2));
    EXPECT_EQ(Hb_Success, peers.push(QZ_ORB_EVENT_UP, 2));
    EXPECT_EQ(JOIN, peers.call.events);
    EXPECT_EQ(Hb_Entity_Up, state_of_node(2));
    EXPECT_EQ(Hb_Entity_State_Reason_KOBAL_Up, reason_of_node(2));
}

ISOLATED_TEST(PeerHandler, DownOfANodeThatIsDownKeepsTheServicesReasonSoThatItsReturnIsTold) {
    Peers peers;
    peers.client.service.node_down(2);
    peers.client.take_all();
    EXPECT_EQ(Hb_Success, peers.push(QZ_ORB_EVENT_DOWN, 2));
    peers.expect_no_news(2);
    EXPECT_EQ(Hb_Entity_State_Reason_Down, reason_of_node(2));
    peers.client.service.node_up(2);
    EXPECT_EQ(JOIN, peers.client.take().events);
}

ISOLATED_TEST(PeerHandler, UpOfANodeThatIsUpOrDownForTheServiceIsNoNews) {
    Peers peers;
    EXPECT_EQ(Hb_Success, peers.push(QZ_ORB_EVENT_UP, 2));
    peers.expect_no_news(2);
    set_node(2, Hb_Entity_Down, Hb_Entity_State_Reason_Down);
    EXPECT_EQ(Hb_Success, peers.push(QZ_ORB_EVENT_UP, 2));
    peers.expect_no_news(2);
    EXPECT_EQ(Hb_Entity_Down, state_of_node(2));
}

ISOLATED_TEST(PeerHandler, TheLocalNodeIsNeverReportedDead) {
    Peers peers;
    EXPECT_EQ(Hb_Success, peers.push(QZ_ORB_EVENT_DOWN, 1));
    peers.expect_no_news(1);
    EXPECT_EQ(Hb_Entity_Up, state_of_node(1));
}

ISOLATED_TEST(PeerHandler, AnUnknownNodeIsTracedAndNotTold) {
    for (const uint32_t node : {7U, 2049U, 65538U}) {
        Peers peers;
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Success, peers.push(QZ_ORB_EVENT_DOWN, node));
        EXPECT_EQ(0, peers.call.events);
        EXPECT_EQ("<EMPTY EVENT>", peers.call.name);
        EXPECT_EQ(0U, peers.call.sequence);
        EXPECT_TRUE(peers.call.group_is_untouched());
        ASSERT_NE(nullptr, traced(spy, 14));
        EXPECT_THAT(traced(spy, 14)->values, ElementsAre(node));
        EXPECT_EQ(Hb_Entity_Up, state_of_node(2));
    }
}

ISOLATED_TEST(PeerHandler, WithoutASubscriptionTheVerdictStandsAndNothingIsTold) {
    Peers peers;
    hb_set_name(nodeEventSubscriptionName, "");
    EXPECT_EQ(Hb_Success, peers.push(QZ_ORB_EVENT_DOWN, 2));
    EXPECT_EQ(0, peers.call.events);
    EXPECT_EQ("<EMPTY EVENT>", peers.call.name);
    EXPECT_EQ(Hb_Entity_State_Reason_KOBAL_Down, reason_of_node(2));
}

// ---- Repository disk ----

ISOLATED_TEST(RepositoryDiskHandler, FillsANodeGroupOfItsOwnTypeAndName) {
    const std::pair<qz_orb_event_type_t, int> cases[] = {
        {QZ_ORB_EVENT_UP, JOIN}, {QZ_ORB_EVENT_DOWN, DEATH}, {QZ_ORB_EVENT_DELETE, DEATH}};
    Cluster_Client client;
    client.open();
    char monitor[] = "repos_disk";
    ORBFSRepositoryDiskHandler disk(monitor);
    EXPECT_EQ(10, ORBFSHandler::getNumbersOfFileDescriptors());
    for (const auto &[type, events] : cases) {
        mox_sim::Event_Record record = node_record(type, 2);
        record.category = QZ_ORB_EVENT_CATEGORY_REPOS_DISK;
        record.name = "disk4";
        client.service.push("repos_disk", record);
        Handler_Call call;
        EXPECT_EQ(Hb_Success, call.run(&disk));
        EXPECT_EQ(events, call.events);
        EXPECT_EQ("Hb_Repository_Disk", call.name);
        EXPECT_EQ(0U, call.sequence);
        EXPECT_EQ(3, call.group->Hb_group_type);
        EXPECT_EQ(events, call.group->Hb_events);
        EXPECT_EQ(0, call.group->Hb_group_status);
        EXPECT_EQ(1, call.node_count());
        EXPECT_THAT(call.nodes(), ElementsAre(2));
        EXPECT_THAT(queued(), IsEmpty());
    }
}

ISOLATED_TEST(RepositoryDiskHandler, ANodeOutOfRangeLeavesTheListEmpty) {
    Cluster_Client client;
    client.open();
    char monitor[] = "repos_disk";
    ORBFSRepositoryDiskHandler disk(monitor);
    mox_sim::Event_Record record = node_record(QZ_ORB_EVENT_DOWN, 2049);
    record.category = QZ_ORB_EVENT_CATEGORY_REPOS_DISK;
    client.service.push("repos_disk", record);
    Handler_Call call;
    EXPECT_EQ(Hb_Success, call.run(&disk));
    EXPECT_EQ(0, call.node_count());
    EXPECT_THAT(call.nodes(), IsEmpty());
}

// ---- Node list and reconfiguration ----

ISOLATED_TEST(NodeListHandler, RunsTheUpdateWithTheEvent) {
    Cluster_Client client;
    client.open();
    const int plain = client.service.calls(Operation::get_node_info);
    const int interfaces = client.service.calls(Operation::get_net_intf_info);
    mox_sim::Event_Record record = node_record(QZ_ORB_EVENT_DELETE, 3);
    record.category = QZ_ORB_EVENT_CATEGORY_NODE_LIST;
    client.service.remove_node(3);
    client.service.push("node_list", record);
    Handler_Call call;
    EXPECT_EQ(Hb_Success, call.run(node_list_handler_p));
    EXPECT_EQ(1, client.service.calls(Operation::get_node_info_after_event));
    EXPECT_EQ(plain, client.service.calls(Operation::get_node_info));
    EXPECT_EQ(interfaces + 1, client.service.calls(Operation::get_net_intf_info));
    EXPECT_EQ(DEATH, call.events);
    EXPECT_EQ("a", call.name);
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(DEATH, {3}), queued_marker()));
}

ISOLATED_TEST(ReconfigurationHandler, TracesTheRecordAndRebuildsWithoutAnEvent) {
    Cluster_Client client;
    client.open();
    const int nodes = client.service.calls(Operation::get_node_info);
    const int interfaces = client.service.calls(Operation::get_net_intf_info);
    mox_sim::Event_Record record;
    record.is_reconfiguration = true;
    record.sequence = 0x500000007;
    record.reason = 11;
    client.service.push("cluster_reconfig", record);
    const Trace_Spy spy(0, 1, 0);
    Handler_Call call;
    EXPECT_EQ(Hb_Success, call.run(cluster_reconfig_handler_p));
    ASSERT_NE(nullptr, traced(spy, 228));
    EXPECT_THAT(traced(spy, 228)->values, ElementsAre(7, 11));
    EXPECT_EQ(nodes + 1, client.service.calls(Operation::get_node_info));
    EXPECT_EQ(interfaces + 1, client.service.calls(Operation::get_net_intf_info));
    EXPECT_EQ(0, client.service.calls(Operation::get_node_info_after_event));
    EXPECT_EQ(0, client.service.calls(Operation::get_net_intf_info_after_event));
    EXPECT_EQ(CONFIG, call.events);
    EXPECT_EQ("Hb_Config_Group", call.name);
}

ISOLATED_TEST(NodeListHandler, AnUpdateThatCannotSignalFailsAsTheUpdateDoes) {
    Cluster_Client client;
    client.open();
    const Mute_Event_Pipe mute;
    client.service.remove_node(3);
    mox_sim::Event_Record record = node_record(QZ_ORB_EVENT_DELETE, 3);
    record.category = QZ_ORB_EVENT_CATEGORY_NODE_LIST;
    client.service.push("node_list", record);
    Handler_Call call;
    EXPECT_EQ(Hb_Failure, call.run(node_list_handler_p));
    EXPECT_EQ(59, call.error);
    EXPECT_EQ(EBADF, call.system_error);
    EXPECT_EQ(DEATH, call.events) << "what was told stands";
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(DEATH, {3}), queued_marker()));
}

ISOLATED_TEST(ReconfigurationHandler, AnUpdateThatCannotSignalFailsAsTheUpdateDoes) {
    Cluster_Client client;
    client.open();
    const Mute_Event_Pipe mute;
    client.service.remove_node(3);
    mox_sim::Event_Record record;
    record.is_reconfiguration = true;
    client.service.push("cluster_reconfig", record);
    Handler_Call call;
    EXPECT_EQ(Hb_Failure, call.run(cluster_reconfig_handler_p));
    EXPECT_EQ(59, call.error);
    EXPECT_EQ(EBADF, call.system_error);
    EXPECT_EQ(DEATH, call.events) << "what was told stands";
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(DEATH, {3}), queued_marker()));
}

} // namespace
} // namespace hb_test
