// SPDX-License-Identifier: Apache-2.0
// The requests to subscribe and unsubscribe, as sent over the socket.
#include <csignal>
#include <cstring>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"

namespace hb_test {
namespace {

constexpr std::size_t OPENING = 80; // bytes of the configuration request

// The only request after the opening, complete.
Bytes request_after_opening(Fake_Daemon &daemon, std::size_t message) {
    return daemon.wait_received(OPENING + 4 + 76 + message).from(OPENING);
}

// A subscription group's 12348 bytes; the bitmap follows the count.
Bytes group_bytes(int type, int events, const std::string &name, int count) {
    Bytes bytes;
    bytes.i32(type).fill(4, UNTOUCHED).i32(events).text(name, 32); // the cursor is sent unchanged
    bytes.fill(2, UNTOUCHED).fill(2, UNTOUCHED);                   // a network number and padding, not set
    return bytes.i32(count).fill(12296, UNTOUCHED);
}
constexpr std::size_t BITMAP = 52;

class Group {
  public:
    Group() { std::memset(&group, UNTOUCHED, sizeof group); }
    Hb_Subscription_Group group;
};

ISOLATED_TEST(SubscribeRequest, OfSomeNodesIsTheGroupAsItLiesInMemory) {
    Fake_Daemon daemon;
    open_library();
    Group some;
    ASSERT_EQ(Hb_Success, hb_empty_subscription_group(&some.group));
    ASSERT_EQ(Hb_Success, hb_add_node_to_subscription_group(&some.group, 1));
    ASSERT_EQ(Hb_Success, hb_add_node_to_subscription_group(&some.group, 4));
    char name[] = "some nodes";
    EXPECT_EQ(Hb_Success, hb_subscribe(name, &some.group, 7));
    Bytes message = group_bytes(0, 7, "some nodes", 2);
    message.put(BITMAP, Bytes().zeros(257)).put(BITMAP, {0x48}); // node 1 is 0x40, node 4 is 0x08
    EXPECT_TRUE(same_bytes(frame(request(209, getpid(), message)), request_after_opening(daemon, 12348)));
    EXPECT_EQ(12348U, message.size());
}

ISOLATED_TEST(SubscribeRequest, OfAllNodesIsSentAsThatAndTheGroupReadsBackAsANodeGroup) {
    Fake_Daemon daemon;
    open_library();
    Group all;
    ASSERT_EQ(Hb_Success, hb_add_all_nodes_to_subscription_group(&all.group));
    char name[] = "all";
    EXPECT_EQ(Hb_Success, hb_subscribe(name, &all.group, 3));
    Bytes message = group_bytes(1, 3, "all", 3);
    message.put(BITMAP, Bytes().zeros(257)).put(BITMAP, {0x68});
    EXPECT_TRUE(same_bytes(frame(request(209, getpid(), message)), request_after_opening(daemon, 12348)));
    EXPECT_EQ(0, all.group.Hb_subscription_type);
}

ISOLATED_TEST(SubscribeRequest, OfAllAdaptersIsSentAsThatAndTheGroupReadsBackAsAnAdapterGroup) {
    Fake_Daemon daemon;
    open_library();
    Group all;
    ASSERT_EQ(Hb_Success, hb_add_all_adapters_to_subscription_group(&all.group));
    char name[] = "all";
    EXPECT_EQ(Hb_Success, hb_subscribe(name, &all.group, 0x207));
    Bytes message = group_bytes(3, 0x207, "all", 5);
    message.put(BITMAP, Bytes().zeros(12294)).put(BITMAP, {0x3C, 0x80}); // 2, 3, 4, 5 and 8
    EXPECT_TRUE(same_bytes(frame(request(209, getpid(), message)), request_after_opening(daemon, 12348)));
    EXPECT_EQ(2, all.group.Hb_subscription_type);
}

ISOLATED_TEST(SubscribeRequest, OfANetworkNamesItsAdapters) {
    Fake_Daemon daemon;
    open_library();
    Group network;
    ASSERT_EQ(Hb_Success, hb_empty_subscription_group(&network.group));
    ASSERT_EQ(Hb_Success, hb_add_network_to_subscription_group(&network.group, 1));
    char name[] = "net_b";
    EXPECT_EQ(Hb_Success, hb_subscribe(name, &network.group, 1));
    Bytes message = group_bytes(5, 1, "net_b", 2);
    message.put(BITMAP, Bytes().zeros(12294)).put(BITMAP, {0x14}); // 3 and 5
    EXPECT_TRUE(same_bytes(frame(request(209, getpid(), message)), request_after_opening(daemon, 12348)));
}

ISOLATED_TEST(SubscribeRequest, OfSiteEventsIsThatWhateverTheGroupHeld) {
    Fake_Daemon daemon;
    open_library();
    Group group;
    ASSERT_EQ(Hb_Success, hb_empty_subscription_group(&group.group));
    char name[] = "sites";
    EXPECT_EQ(Hb_Success, hb_subscribe(name, &group.group, 96));
    Bytes message = group_bytes(8, 96, "sites", 0x5A5A5A5A);
    EXPECT_TRUE(same_bytes(frame(request(209, getpid(), message)), request_after_opening(daemon, 12348)));
    EXPECT_EQ(7, group.group.Hb_subscription_type);
}

ISOLATED_TEST(SubscribeRequest, OfOtherInstancesLeavesTheGroupAsThat) {
    Fake_Daemon daemon;
    open_library();
    Group group;
    ASSERT_EQ(Hb_Success, hb_empty_subscription_group(&group.group));
    char name[] = "others";
    EXPECT_EQ(Hb_Success, hb_subscribe(name, &group.group, 256));
    Bytes message = group_bytes(6, 256, "others", 0x5A5A5A5A);
    EXPECT_TRUE(same_bytes(frame(request(209, getpid(), message)), request_after_opening(daemon, 12348)));
    EXPECT_EQ(6, group.group.Hb_subscription_type);
}

ISOLATED_TEST(SubscribeRequest, ANameOf40CharactersIsCutTo31) {
    Fake_Daemon daemon;
    open_library();
    Group all;
    ASSERT_EQ(Hb_Success, hb_add_all_nodes_to_subscription_group(&all.group));
    std::string name(40, 'n');
    EXPECT_EQ(Hb_Success, hb_subscribe(name.data(), &all.group, 3));
    const Bytes sent = request_after_opening(daemon, 12348);
    EXPECT_EQ(Bytes().text(std::string(31, 'n'), 32), sent.part(4 + 76 + 12, 32));
}

ISOLATED_TEST(SubscribeRequest, ThatIsRefusedSendsNothing) {
    Fake_Daemon daemon;
    open_library();
    Group group;
    ASSERT_EQ(Hb_Success, hb_empty_subscription_group(&group.group));
    char name[] = "name";
    for (const int mask : {0, 8, 128, 1024, -1}) {
        EXPECT_EQ(Hb_Failure, hb_subscribe(name, &group.group, mask));
        EXPECT_EQ(4, hb_get_errno()) << mask;
    }
    EXPECT_EQ(Hb_Failure, hb_subscribe(name, &group.group, 1));
    EXPECT_EQ(11, hb_get_errno());
    EXPECT_EQ(Hb_Success, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    EXPECT_TRUE(same_bytes(frame(request(222, getpid())), request_after_opening(daemon, 0)));
}

ISOLATED_TEST(SubscribeRequest, WithoutAConnectionIsError22AndOpensNothing) {
    Fake_Daemon daemon;
    Group group;
    group.group.Hb_subscription_type = Hb_Node_Subscription;
    char name[] = "name";
    EXPECT_EQ(Hb_Failure, hb_subscribe(name, &group.group, 1));
    EXPECT_EQ(22, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(0, daemon.connections());
}

ISOLATED_TEST(SubscribeRequest, FillsTheSlotOfItsKindInDaemonModeToo) {
    Fake_Daemon daemon;
    open_library();
    Group nodes;
    ASSERT_EQ(Hb_Success, hb_add_all_nodes_to_subscription_group(&nodes.group));
    char node_name[] = "the nodes";
    EXPECT_EQ(Hb_Success, hb_subscribe(node_name, &nodes.group, 1));
    Group adapters;
    ASSERT_EQ(Hb_Success, hb_add_all_adapters_to_subscription_group(&adapters.group));
    char adapter_name[] = "the adapters";
    EXPECT_EQ(Hb_Success, hb_subscribe(adapter_name, &adapters.group, 1));
    EXPECT_STREQ("the nodes", nodeEventSubscriptionName);
    EXPECT_STREQ("the adapters", networkEventSubscriptionName);
    EXPECT_STREQ("", siteEventSubscriptionName);
}

ISOLATED_TEST(UnsubscribeRequest, IsTheNameAndItsNul) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_unsubscribe("name"));
    EXPECT_TRUE(
        same_bytes(frame(request(210, getpid(), {'n', 'a', 'm', 'e', 0})), request_after_opening(daemon, 5)));
}

ISOLATED_TEST(UnsubscribeRequest, CutsTheNameTo31Characters) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_unsubscribe(std::string(40, 'u').c_str()));
    EXPECT_TRUE(same_bytes(frame(request(210, getpid(), Bytes().fill(31, 'u').u8(0))),
                           request_after_opening(daemon, 32)));
}

ISOLATED_TEST(UnsubscribeRequest, OfAnEmptyNameIsOneNul) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_unsubscribe(""));
    EXPECT_TRUE(same_bytes(frame(request(210, getpid(), {0})), request_after_opening(daemon, 1)));
}

ISOLATED_TEST(UnsubscribeRequest, ToADaemonThatHasGoneIsError16) {
    signal(SIGPIPE, SIG_IGN);
    Fake_Daemon daemon;
    open_library();
    daemon.run(hang_up());
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    EXPECT_EQ(Hb_Failure, hb_unsubscribe("name"));
    EXPECT_EQ(16, hb_get_errno());
}

} // namespace
} // namespace hb_test
