// A running client moves from the daemon to the cluster service.
#include <gtest/gtest.h>

#include "lib/MOX_handlers.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/error_number.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
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
    FakeDaemon daemon;
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
    FakeDaemon daemon;
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
    FakeDaemon daemon;
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
    FakeDaemon daemon;
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
    FakeDaemon daemon;
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

} // namespace
} // namespace hb_test
