// SPDX-License-Identifier: Apache-2.0
// A running client migrates from the daemon to the cluster service.
#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"

namespace hb_test {
namespace {

using mox_sim::Operation;

// The daemon's cluster has nodes 1, 2 and 4.
void agree(mox_sim::Simulated_Service &service) {
    mox_sim::Node node;
    node.number = 4;
    service.set(node);
}

struct Asked {
    Hb_Rc result;
    int error;
};
Asked prepare() {
    set_hb_errno(777);
    const Hb_Rc result = hb_migrate_to_mox_prep();
    return {result, hb_get_errno()};
}

ISOLATED_TEST(Migration, WithoutAServiceFailsWithError63AndStaysWithTheDaemon) {
    Fake_Daemon daemon;
    ASSERT_EQ(Hb_Success, hb_init());
    const Asked asked = prepare();
    EXPECT_EQ(Hb_Failure, asked.result);
    EXPECT_EQ(63, asked.error);
    EXPECT_TRUE(migrate_to_mox_prep);
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_abort());
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_abort());
    EXPECT_TRUE(migrate_to_mox_prep) << "it stays set";
    EXPECT_FALSE(IsMOX);
    EXPECT_NE(nullptr, client_socket);
}

ISOLATED_TEST(Migration, IsPreparedWhenDaemonAndServiceAgree) {
    Fake_Daemon daemon;
    ASSERT_EQ(Hb_Success, hb_init());
    Cluster_Client client;
    agree(client.service);
    const Asked asked = prepare();
    EXPECT_EQ(Hb_Success, asked.result);
    EXPECT_EQ(777, asked.error);
    EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_EQ(0, client.service.lists_out());
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_prep()) << "again";
    EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_abort());
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    Hb_Node_Number node = -1;
    EXPECT_EQ(Hb_Success, hb_get_my_node_number(&node)) << "the daemon's session goes on";
}

ISOLATED_TEST(Migration, FailsWhereTheTwoDoNotAgree) {
    Fake_Daemon daemon;
    ASSERT_EQ(Hb_Success, hb_init());
    Cluster_Client client;
    const Asked unknown = prepare(); // the service does not know node 4
    EXPECT_EQ(Hb_Failure, unknown.result);
    EXPECT_EQ(75, unknown.error);
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    agree(client.service);
    client.service.set_cluster("small", 2);
    const Asked other = prepare();
    EXPECT_EQ(Hb_Failure, other.result);
    EXPECT_EQ(777, other.error);
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    client.service.set_cluster("small", 1);
    client.service.fail(Operation::open_monitor, -1, EIO);
    EXPECT_EQ(74, prepare().error);
    client.service.heal(Operation::open_monitor);
    client.service.fail(Operation::get_net_intf_info, -1, EIO);
    EXPECT_EQ(65, prepare().error);
    EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors()) << "the caller aborts";
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_abort());
}

ISOLATED_TEST(Migration, TellsWhatTheTwoTellDifferentlyAndGoesOnWithTheService) {
    Fake_Daemon daemon;
    ASSERT_EQ(Hb_Success, hb_init());
    Cluster_Client client;
    agree(client.service);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_TRUE(IsMOX);
    EXPECT_FALSE(migrate_to_mox_prep);
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(nullptr, client_select);
    EXPECT_TRUE(daemon.wait_connections_ended(1));
    EXPECT_EQ(160U, daemon.wait_received(160).size()) << "the configuration and the delayed shutdown";
    EXPECT_EQ(227, daemon.received().i32_at(80 + 12));
    const std::vector<Taken> all = client.take_all();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(of_configuration(), all[0]) << "nobody departed";
    int nodes = 0;
    EXPECT_EQ(Hb_Success, hb_get_number_of_configured_nodes(&nodes));
    EXPECT_EQ(4, nodes);
    client.service.node_down(2);
    EXPECT_FALSE(client.take_all().empty());
}

ISOLATED_TEST(Migration, CommittedWithoutPreparationSucceedsAndHasNoHandlers) {
    Fake_Daemon daemon;
    ASSERT_EQ(Hb_Success, hb_init());
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_TRUE(IsMOX);
    EXPECT_EQ(1, MOX_event_queue_is_empty());
    int *descriptors = nullptr;
    int count = -1;
    EXPECT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
    EXPECT_EQ(0, count);
    hb_free_file_descriptor_array(descriptors);
}

// ---- Openings in cluster-event mode ----

// The daemon's table ends at node 7 and stays live, because the service fails at the commit. The join of node
// 100 is recorded in it.
ISOLATED_TEST(OpeningInClusterEventMode, ThatFailsLeavesNoNodeKnown) {
    Fake_Daemon daemon;
    ASSERT_EQ(Hb_Success, hb_init());
    Cluster_Client client;
    mox_sim::Node far;
    far.number = 100;
    agree(client.service);
    client.service.set(far);
    ASSERT_EQ(Hb_Success, prepare().result);
    MOX_drop_prepared_table(); // as after an event from the daemon
    client.service.fail(Operation::get_net_intf_info, -1, 5);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    client.take_all();
    client.service.node_down(100);
    client.service.node_up(100);
    client.take_all();
    ASSERT_EQ(Hb_True, global_node_tbl[100]);
    ASSERT_EQ(8, global_config_tbl.Hb_max_nodes);
    ASSERT_EQ(Hb_Success, hb_terminate());
    set_hb_errno(0);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(65, hb_get_errno());
    EXPECT_EQ(0, global_num_nodes);
    for (int node = 0; node < HB_NODE_SLOTS; ++node) {
        ASSERT_EQ(Hb_False, global_node_tbl[node]) << node;
    }
}

struct Inner_Call {
    Hb_Rc result = 0;
    int error = 0;
};
Inner_Call inner_opening;
Inner_Call inner_connection;

Inner_Call result_of(Hb_Rc (*call)()) {
    set_hb_errno(0);
    const Hb_Rc result = call();
    return {result, hb_get_errno()};
}

int call_the_library(const char * /*cluster_name*/, qz_mox_cluster_info_t ** /*info*/) {
    inner_opening = result_of(hb_init);
    inner_connection = result_of(hb_init_communication);
    return -1;
}

ISOLATED_TEST(OpeningInClusterEventMode, IsError12ForAServiceThatOpensWhileItIsAsked) {
    Fake_Daemon daemon;
    static qz_mox_service_t service = {};
    service.get_cluster_info = call_the_library;
    qz_mox_install_service(&service);
    IsMOX = true;
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(63, hb_get_errno()) << "the opening goes on and reports the service's failure";
    EXPECT_EQ(Hb_Failure, inner_opening.result);
    EXPECT_EQ(12, inner_opening.error);
    EXPECT_EQ(Hb_Failure, inner_connection.result);
    EXPECT_EQ(12, inner_connection.error);
    EXPECT_EQ(0, daemon.connections());
    qz_mox_install_service(nullptr);
}

} // namespace
} // namespace hb_test
