// SPDX-License-Identifier: Apache-2.0
// Cluster-event mode without an installed cluster service: every entry fails cleanly, and nothing is sent.
#include <cstring>

#include <gtest/gtest.h>

#include "lib/api/hb_subscription.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/protocol/client.h"
#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"

namespace hb_test {
namespace {

ISOLATED_TEST(ClusterMode, OpeningIsError63AndTouchesNoDaemon) {
    Fake_Daemon daemon;
    IsMOX = true;
    const Call_Log log;
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(63, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(nullptr, client_select);
    EXPECT_EQ(nullptr, data_for_client);
    EXPECT_TRUE(log.calls(Call::socket_).empty());
    EXPECT_TRUE(log.calls(Call::shmget_).empty());
    EXPECT_EQ(0, daemon.connections());
}

ISOLATED_TEST(ClusterMode, AskingForTheConfigurationIsError63) {
    IsMOX = true;
    EXPECT_EQ(Hb_Failure, hb_recv_config_info());
    EXPECT_EQ(63, hb_get_errno());
}

ISOLATED_TEST(ClusterMode, AnEntryReportsThatItCannotOpen) {
    IsMOX = true;
    int count = 77;
    EXPECT_EQ(Hb_Failure, hb_get_number_of_configured_nodes(&count));
    EXPECT_EQ(63, hb_get_errno());
    EXPECT_EQ(77, count);
}

ISOLATED_TEST(ClusterMode, AnEventCallIsError81BecauseNoHandlerOwnsTheDescriptor) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(12)));
    ASSERT_TRUE(wait_readable(client_socket->socket()));
    IsMOX = true;
    const Call_Log log;
    Event_Call call;
    EXPECT_EQ(Hb_Failure, call.take());
    EXPECT_EQ(81, hb_get_errno());
    EXPECT_TRUE(same_bytes(untouched_group(), call.group_bytes()));
    EXPECT_TRUE(log.calls(Call::read_).empty()) << "the daemon's connection is not read";
}

ISOLATED_TEST(ClusterMode, ADescriptorArrayThatStartsWithMinusOneFailsWithoutAnErrorNumber) {
    IsMOX = true;
    int none[] = {-1};
    EXPECT_EQ(Hb_Failure, hb_get_event_message(none, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, hb_get_errno());
}

ISOLATED_TEST(ClusterMode, TheDescriptorArrayIsMinusOneAloneWithACountOfZero) {
    Fake_Daemon daemon;
    open_library();
    IsMOX = true;
    int *descriptors = nullptr;
    int count = 77;
    ASSERT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
    EXPECT_EQ(0, count);
    ASSERT_NE(nullptr, descriptors);
    EXPECT_EQ(-1, descriptors[0]);
    EXPECT_EQ(Hb_Success, hb_free_file_descriptor_array(descriptors));
}

ISOLATED_TEST(ClusterMode, ReadingASessionThatWasOpenedBeforeStillWorks) {
    Fake_Daemon daemon;
    open_library();
    IsMOX = true;
    int count = 0;
    EXPECT_EQ(Hb_Success, hb_get_number_of_configured_adapters(&count));
    EXPECT_EQ(5, count);
}

ISOLATED_TEST(ClusterMode, TerminatingClosesTheConnectionAndDropsTheHandlers) {
    Fake_Daemon daemon;
    open_library();
    IsMOX = true;
    orbfs_cluster_name = new char[8]();
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(nullptr, orbfs_cluster_name);
    EXPECT_TRUE(daemon.wait_connections_ended(1));
    EXPECT_EQ(Hb_Success, hb_terminate());
}

ISOLATED_TEST(ClusterMode, TerminatingDropsTheHandlersInDaemonModeToo) {
    Fake_Daemon daemon;
    open_library();
    orbfs_cluster_name = new char[8]();
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(nullptr, orbfs_cluster_name);
}

ISOLATED_TEST(ClusterMode, DroppingTheHandlersIsSafeAtAnyTime) {
    MOX_delete_global_event_handlers();
    MOX_delete_global_event_handlers();
    EXPECT_EQ(nullptr, orbfs_cluster_name);
}

ISOLATED_TEST(ClusterMode, SubscribingToSitesRemembersTheNameAndSendsNothing) {
    IsMOX = true;
    Hb_Subscription_Group group;
    std::memset(&group, 0, sizeof group);
    group.Hb_subscription_type = Hb_Site_Subscription;
    char name[] = "sites";
    EXPECT_EQ(Hb_Success, MOX_handle_subscription(name, &group));
    EXPECT_STREQ("sites", siteEventSubscriptionName);
}

ISOLATED_TEST(ClusterMode, SubscribingToNodesOrAdaptersIsError59WhileNoHandlerCanBeWoken) {
    IsMOX = true;
    char name[] = "name";
    for (const Hb_Subscription_Type type :
         {Hb_Node_Subscription, Hb_All_Nodes_Subscription, Hb_Adapter_Subscription,
          Hb_All_Adapters_Subscription, Hb_Network_Subscription}) {
        Hb_Subscription_Group group;
        std::memset(&group, 0, sizeof group);
        group.Hb_subscription_type = type;
        const int descriptors = open_descriptors();
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, MOX_handle_subscription(name, &group)) << type;
        EXPECT_EQ(59, hb_get_errno()) << type;
        EXPECT_EQ(descriptors, open_descriptors());
    }
    EXPECT_STREQ("name", nodeEventSubscriptionName);
    EXPECT_STREQ("name", networkEventSubscriptionName);
}

ISOLATED_TEST(ClusterMode, UnsubscribingClearsTheSlotsOfThatNameAlone) {
    Fake_Daemon daemon;
    open_library();
    IsMOX = true;
    std::strcpy(nodeEventSubscriptionName, "one");
    std::strcpy(networkEventSubscriptionName, "two");
    std::strcpy(siteEventSubscriptionName, "one");
    EXPECT_EQ(Hb_Success, hb_unsubscribe("one"));
    EXPECT_STREQ("", nodeEventSubscriptionName);
    EXPECT_STREQ("two", networkEventSubscriptionName);
    EXPECT_STREQ("", siteEventSubscriptionName);
}

ISOLATED_TEST(ClusterMode, ANameOf40CharactersDoesNotMatchItsStoredSlot) {
    Fake_Daemon daemon;
    open_library();
    IsMOX = true;
    std::string name(40, 'n');
    Hb_Subscription_Group group;
    std::memset(&group, 0, sizeof group);
    group.Hb_subscription_type = Hb_Site_Subscription;
    EXPECT_EQ(Hb_Success, MOX_handle_subscription(name.data(), &group));
    EXPECT_EQ(Hb_Success, hb_unsubscribe(name.c_str()));
    EXPECT_EQ(std::string(31, 'n'), siteEventSubscriptionName);
}

} // namespace
} // namespace hb_test
