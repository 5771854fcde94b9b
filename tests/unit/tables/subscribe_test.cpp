// SPDX-License-Identifier: Apache-2.0
// Subscribing: the bytes that go to the daemon, and what each mode keeps.

#include <csignal>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>

#include "cluster_fixture.h"
#include "lib/api/hb_subscription.h"
#include "lib/api/session.h"
#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/vexo/socket_path.h"
#include "tests/support/bytes.h"
#include "tests/support/deadline.h"
#include "tests/support/unique_fd.h"
#include "trace_spy.h"

namespace {

using hb_test::Bytes;
using hb_test::same_bytes;

constexpr int CLIENT_PID = 4711;

// The length prefix and the 76 bytes before a request's payload.
Bytes request(int kind, int payload) {
    Bytes bytes;
    bytes.i32(76 + payload);
    bytes.zeros(8).i32(kind).i32(payload).zeros(48).i32(CLIENT_PID).zeros(8);
    return bytes;
}

// A group as sent: type, cursor, events, name, network number with padding, count, bitmap; then zeros.
Bytes group_bytes(int type, int cursor, int events, const std::string &name, int count, const Bytes &bitmap) {
    Bytes bytes;
    bytes.i32(type).i32(cursor).i32(events).text(name, 32).zeros(4).i32(count).add(bitmap);
    bytes.zeros(12348 - bytes.size());
    return bytes;
}

class Subscribing : public Cluster_Test {
  protected:
    Subscribing() : group_(std::make_unique<Hb_Subscription_Group>()) {
        hb_empty_subscription_group(group());
        global_config_tbl.Hb_max_sites = 2;
        global_site_tbl[1] = Hb_True;
        global_num_sites = 1;
    }

    // Afterwards `received` can read what the library sends.
    void connect() {
        listener_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, directory_.file("daemon").c_str());
        ASSERT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        ASSERT_EQ(listen(listener_.get(), 1), 0);
        std::strcpy(SERVER_SOCK_FNAME, address.sun_path);
        client_socket = new Hb_Csock;
        ASSERT_EQ(client_socket->Error(), 0);
        client_pid = CLIENT_PID;
        ASSERT_TRUE(hb_test::wait_readable(listener_.get()));
        daemon_.reset(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        ASSERT_TRUE(daemon_);
    }

    // Everything that was sent so far. It closes the connection.
    Bytes received() {
        hb_remove_socket();
        Bytes bytes;
        unsigned char buffer[4096];
        while (hb_test::wait_readable(daemon_.get())) {
            const ssize_t got = read(daemon_.get(), buffer, sizeof buffer);
            if (got <= 0) {
                break;
            }
            bytes.insert(bytes.end(), buffer, buffer + got);
        }
        return bytes;
    }

    void lose_daemon() {
        daemon_.reset();
        listener_.reset();
    }

    Hb_Subscription_Group *group() { return group_.get(); }
    Hb_Subscription_Type type() const { return group_->Hb_subscription_type; }

    static Hb_Rc subscribe(Hb_Subscription_Group *group, int events, std::string name = "watch") {
        return hb_subscribe(name.data(), group, events);
    }

    void expect_sent(const Bytes &group) {
        EXPECT_TRUE(same_bytes(request(209, 12348).add(group), received()));
    }

    static void expect_slots(const std::string &node, const std::string &network, const std::string &site) {
        EXPECT_EQ(std::string(nodeEventSubscriptionName), node);
        EXPECT_EQ(std::string(networkEventSubscriptionName), network);
        EXPECT_EQ(std::string(siteEventSubscriptionName), site);
    }

    static void expect_error(Hb_Rc rc, int error) {
        EXPECT_EQ(rc, Hb_Failure);
        EXPECT_EQ(hb_get_errno(), error);
        global_hb_errno = 0;
    }

  private:
    hb_test::Temp_Dir directory_;
    hb_test::Unique_Fd listener_;
    hb_test::Unique_Fd daemon_;
    std::unique_ptr<Hb_Subscription_Group> group_;
};

// ---- Sent bytes ----

TEST_F(Subscribing, SendsANodeGroupWhole) {
    connect();
    hb_add_node_to_subscription_group(group(), 3);
    group()->Hb_cursor = 9;
    EXPECT_EQ(subscribe(group(), 7), Hb_Success);
    expect_sent(group_bytes(0, 9, 7, "watch", 1, {0x10}));
    EXPECT_EQ(type(), 0);
    expect_slots("watch", "", "");
}

TEST_F(Subscribing, ANodeGroupOfEveryConfiguredNodeGoesAsAllNodesAndReadsBackAsANodeGroup) {
    connect();
    hb_add_node_to_subscription_group(group(), 1);
    hb_add_node_to_subscription_group(group(), 3);
    EXPECT_EQ(subscribe(group(), 3), Hb_Success);
    expect_sent(group_bytes(1, 0, 3, "watch", 2, {0x50}));
    EXPECT_EQ(type(), 0);
    expect_slots("watch", "", "");
}

TEST_F(Subscribing, SendsAnAdapterGroup) {
    connect();
    hb_add_adapter_to_subscription_group(group(), 9);
    EXPECT_EQ(subscribe(group(), 1), Hb_Success);
    expect_sent(group_bytes(2, 0, 1, "watch", 1, {0x00, 0x40}));
    EXPECT_EQ(type(), 2);
    expect_slots("", "watch", "");
}

TEST_F(Subscribing, AnAdapterGroupOfEveryAdapterGoesAsAllAdaptersAndReadsBackAsAnAdapterGroup) {
    connect();
    hb_add_all_adapters_to_subscription_group(group());
    EXPECT_EQ(subscribe(group(), 512), Hb_Success);
    expect_sent(group_bytes(3, 0, 512, "watch", 3, {0x18, 0x40}));
    EXPECT_EQ(type(), 2);
    expect_slots("", "watch", "");
}

TEST_F(Subscribing, ANetworkGroupOfEveryAdapterStaysANetworkGroup) {
    connect();
    global_config_tbl.Hb_global_adapter_list[1].Hb_network = 0;
    hb_add_network_to_subscription_group(group(), 0);
    EXPECT_EQ(subscribe(group(), 2), Hb_Success);
    expect_sent(group_bytes(5, 0, 2, "watch", 3, {0x18, 0x40}));
    EXPECT_EQ(type(), 5);
    expect_slots("", "watch", "");
}

TEST_F(Subscribing, Mask96AsksForAllSitesAndLeavesASiteGroup) {
    connect();
    hb_add_all_nodes_to_subscription_group(group());
    EXPECT_EQ(subscribe(group(), 96), Hb_Success);
    expect_sent(group_bytes(8, 0, 96, "watch", 2, {0x50}));
    EXPECT_EQ(type(), 7);
    expect_slots("", "", "watch");
}

TEST_F(Subscribing, Mask96NeedsNoMembers) {
    connect();
    EXPECT_EQ(subscribe(group(), 96), Hb_Success);
    EXPECT_EQ(received().i32_at(4 + 76), 8);
    EXPECT_EQ(type(), 7);
}

TEST_F(Subscribing, OneSiteEventAloneIsNoSiteSubscription) {
    for (const int events : {32, 64, 97}) {
        connect();
        hb_empty_subscription_group(group());
        hb_add_node_to_subscription_group(group(), 1);
        EXPECT_EQ(subscribe(group(), events), Hb_Success);
        EXPECT_EQ(received().i32_at(4 + 76), 0);
        EXPECT_EQ(type(), 0);
        ASSERT_EQ(unlink(SERVER_SOCK_FNAME), 0);
    }
}

TEST_F(Subscribing, Mask256LeavesADifferentInstanceGroup) {
    connect();
    hb_add_all_adapters_to_subscription_group(group());
    EXPECT_EQ(subscribe(group(), 256), Hb_Success);
    expect_sent(group_bytes(6, 0, 256, "watch", 3, {0x18, 0x40}));
    EXPECT_EQ(type(), 6);
    expect_slots("", "", "");
}

TEST_F(Subscribing, Mask256TogetherWithOtherEventsChangesNoType) {
    connect();
    hb_add_node_to_subscription_group(group(), 1);
    EXPECT_EQ(subscribe(group(), 257), Hb_Success);
    EXPECT_EQ(received().i32_at(4 + 76), 0);
    EXPECT_EQ(type(), 0);
}

TEST_F(Subscribing, SendsASiteGroup) {
    connect();
    hb_add_site_to_subscription_group(group(), 1);
    EXPECT_EQ(subscribe(group(), 16), Hb_Success);
    expect_sent(group_bytes(7, 0, 16, "watch", 1, {0x40}));
    EXPECT_EQ(type(), 7);
    expect_slots("", "", "watch");
}

TEST_F(Subscribing, ANameOf40CharactersIsCutTo31) {
    connect();
    hb_add_node_to_subscription_group(group(), 3);
    std::memset(group()->Hb_name, '#', sizeof group()->Hb_name);
    const std::string cut = "1234567890123456789012345678901";
    EXPECT_EQ(subscribe(group(), 1, "1234567890123456789012345678901234567890"), Hb_Success);
    expect_sent(group_bytes(0, 0, 1, cut, 1, {0x10}));
    EXPECT_EQ(group()->Hb_name[31], '\0');
    expect_slots(cut, "", "");
    EXPECT_EQ(nodeEventSubscriptionName[31], '\0');
}

TEST_F(Subscribing, AShorterNameLeavesNothingOfALongerOne) {
    connect();
    hb_add_node_to_subscription_group(group(), 3);
    std::memset(group()->Hb_name, '#', sizeof group()->Hb_name);
    EXPECT_EQ(subscribe(group(), 1, "ab"), Hb_Success);
    expect_sent(group_bytes(0, 0, 1, "ab", 1, {0x10}));
}

TEST_F(Subscribing, TheGroupsOwnNameCanBeGivenAgain) {
    connect();
    hb_add_node_to_subscription_group(group(), 3);
    std::strcpy(group()->Hb_name, "again");
    EXPECT_EQ(hb_subscribe(group()->Hb_name, group(), 1), Hb_Success);
    expect_sent(group_bytes(0, 0, 1, "again", 1, {0x10}));
    expect_slots("again", "", "");
}

TEST_F(Subscribing, AGroupCanBeEditedAndSubscribedAgain) {
    connect();
    hb_add_all_nodes_to_subscription_group(group());
    EXPECT_EQ(subscribe(group(), 1, "one"), Hb_Success);
    EXPECT_EQ(hb_remove_node_from_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(subscribe(group(), 2, "two"), Hb_Success);
    Bytes expected = request(209, 12348).add(group_bytes(1, 0, 1, "one", 2, {0x50}));
    expected.add(request(209, 12348)).add(group_bytes(0, 0, 2, "two", 1, {0x10}));
    EXPECT_TRUE(same_bytes(expected, received()));
}

TEST_F(Subscribing, AnUnknownTypeIsSentAsItIs) {
    connect();
    group()->Hb_subscription_type = 42;
    EXPECT_EQ(subscribe(group(), 1), Hb_Success);
    expect_sent(group_bytes(42, 0, 1, "watch", 0, {}));
    expect_slots("", "", "");
}

// ---- Rejected calls ----

TEST_F(Subscribing, AMaskThatIsEmptyOrHasAStrayBitIsRefused) {
    hb_add_node_to_subscription_group(group(), 1);
    for (const int events : {0, 8, 128, 0x378, 0x400, 1 | 8, -1, static_cast<int>(0x80000001U)}) {
        expect_error(subscribe(group(), events), 4);
    }
    EXPECT_EQ(group()->Hb_events, 0);
    EXPECT_STREQ(group()->Hb_name, "");
    EXPECT_EQ(type(), 0);
    expect_slots("", "", "");
}

TEST_F(Subscribing, EveryBitOfTheMaskIsTaken) {
    connect();
    hb_add_node_to_subscription_group(group(), 1);
    EXPECT_EQ(subscribe(group(), 0x377), Hb_Success);
    EXPECT_EQ(received().i32_at(4 + 76 + 8), 0x377);
}

TEST_F(Subscribing, AnEmptyGroupIsRefusedAndStaysEmpty) {
    connect();
    expect_error(subscribe(group(), 1), 11);
    EXPECT_EQ(type(), 4);
    EXPECT_EQ(received().size(), 0U);
    expect_slots("", "", "");
}

TEST_F(Subscribing, NullPointersAreRefused) {
    char name[] = "watch";
    expect_error(hb_subscribe(nullptr, group(), 1), 4);
    expect_error(hb_subscribe(name, nullptr, 1), 4);
    expect_error(hb_unsubscribe(nullptr), 4);
}

TEST_F(Subscribing, DoesNotOpenTheLibrary) {
    hb_add_node_to_subscription_group(group(), 1);
    close_library();
    expect_error(subscribe(group(), 1), 22);
    EXPECT_EQ(client_initialized, 0);
}

TEST_F(Subscribing, AFailureToSendKeepsItsErrorAndPutsTheTypeBack) {
    hb_add_all_nodes_to_subscription_group(group());
    expect_error(subscribe(group(), 1), 22);
    EXPECT_EQ(type(), 0);
    EXPECT_STREQ(group()->Hb_name, "watch");
    EXPECT_EQ(group()->Hb_events, 1);
    hb_add_all_adapters_to_subscription_group(group());
    expect_error(subscribe(group(), 1), 22);
    EXPECT_EQ(type(), 2);
    expect_error(subscribe(group(), 96), 22);
    EXPECT_EQ(type(), 7);
    expect_slots("watch", "watch", "watch");
}

TEST_F(Subscribing, ADaemonThatHasGoneGives16) {
    connect();
    lose_daemon();
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    hb_add_node_to_subscription_group(group(), 1);
    expect_error(subscribe(group(), 1), 16);
    std::signal(SIGPIPE, before);
}

// ---- Unsubscribing ----

TEST_F(Subscribing, UnsubscribingSendsTheNameWithItsNul) {
    connect();
    EXPECT_EQ(hb_unsubscribe("watch"), Hb_Success);
    EXPECT_TRUE(same_bytes(request(210, 6).text("watch", 6), received()));
}

TEST_F(Subscribing, UnsubscribingCutsTheNameAt31Characters) {
    connect();
    EXPECT_EQ(hb_unsubscribe("1234567890123456789012345678901234567890"), Hb_Success);
    EXPECT_TRUE(same_bytes(request(210, 32).text("1234567890123456789012345678901", 32), received()));
}

TEST_F(Subscribing, UnsubscribingAnEmptyNameSendsItsNul) {
    connect();
    EXPECT_EQ(hb_unsubscribe(""), Hb_Success);
    EXPECT_TRUE(same_bytes(request(210, 1).zeros(1), received()));
}

TEST_F(Subscribing, InDaemonModeUnsubscribingLeavesTheNames) {
    connect();
    hb_set_name(nodeEventSubscriptionName, "watch");
    EXPECT_EQ(hb_unsubscribe("watch"), Hb_Success);
    expect_slots("watch", "", "");
}

TEST_F(Subscribing, UnsubscribingOpensTheLibrary) {
    close_library();
    expect_error(hb_unsubscribe("watch"), 15);
}

// ---- MOX mode ----

class Subscribing_In_MOX_Mode : public Subscribing {
  protected:
    Subscribing_In_MOX_Mode() { IsMOX = true; }
};

TEST_F(Subscribing_In_MOX_Mode, ANodeSubscriptionWithoutAHandlerFailsAndKeepsTheName) {
    for (const bool all : {false, true}) {
        hb_empty_subscription_group(group());
        hb_add_node_to_subscription_group(group(), 1);
        if (all) {
            hb_add_node_to_subscription_group(group(), 3);
        }
        const Trace_Spy spy(0, 1, 0);
        errno = 0;
        const Hb_Rc rc = subscribe(group(), 1);
        EXPECT_EQ(errno, EBADF);
        expect_error(rc, 59);
        EXPECT_EQ(spy.records(), (std::vector<Trace_Record>{{"_HBC", 25, 1, {0xFFFFFFFFU, EBADF}, {}}}));
        expect_slots("watch", "", "");
        EXPECT_EQ(type(), 0);
        hb_clear_subscription_names();
    }
}

TEST_F(Subscribing_In_MOX_Mode, AnAdapterOrNetworkSubscriptionWithoutAHandlerFailsAndKeepsTheName) {
    const auto expect_failure = [this](Hb_Subscription_Type expected_type) {
        const Trace_Spy spy(0, 1, 0);
        errno = 0;
        const Hb_Rc rc = subscribe(group(), 1);
        EXPECT_EQ(errno, EBADF);
        expect_error(rc, 59);
        EXPECT_EQ(spy.records(), (std::vector<Trace_Record>{{"_HBC", 26, 1, {0xFFFFFFFFU, EBADF}, {}}}));
        expect_slots("", "watch", "");
        EXPECT_EQ(type(), expected_type);
        hb_clear_subscription_names();
    };
    hb_add_adapter_to_subscription_group(group(), 3);
    expect_failure(2);
    hb_add_all_adapters_to_subscription_group(group());
    expect_failure(2);
    hb_empty_subscription_group(group());
    hb_add_network_to_subscription_group(group(), 0);
    expect_failure(5);
}

TEST_F(Subscribing_In_MOX_Mode, NothingIsTracedBelowInfoLevel) {
    hb_add_node_to_subscription_group(group(), 1);
    const Trace_Spy spy(1, 0, 1);
    expect_error(subscribe(group(), 1), 59);
    EXPECT_TRUE(spy.records().empty());
}

TEST_F(Subscribing_In_MOX_Mode, ASiteSubscriptionSucceedsAndKeepsTheName) {
    hb_add_site_to_subscription_group(group(), 1);
    EXPECT_EQ(subscribe(group(), 32), Hb_Success);
    expect_slots("", "", "watch");
    EXPECT_EQ(type(), 7);
    hb_clear_subscription_names();
    EXPECT_EQ(subscribe(group(), 96), Hb_Success);
    expect_slots("", "", "watch");
    EXPECT_EQ(type(), 7);
}

TEST_F(Subscribing_In_MOX_Mode, OtherTypesSucceedAndKeepNoName) {
    hb_add_node_to_subscription_group(group(), 1);
    EXPECT_EQ(subscribe(group(), 256), Hb_Success);
    EXPECT_EQ(type(), 6);
    expect_slots("", "", "");
}

TEST_F(Subscribing_In_MOX_Mode, NothingIsSent) {
    connect();
    hb_add_site_to_subscription_group(group(), 1);
    subscribe(group(), 32);
    hb_unsubscribe("watch");
    EXPECT_EQ(received().size(), 0U);
}

TEST_F(Subscribing_In_MOX_Mode, UnsubscribingClearsEverySlotOfThatName) {
    hb_set_name(nodeEventSubscriptionName, "watch");
    hb_set_name(networkEventSubscriptionName, "watcher");
    hb_set_name(siteEventSubscriptionName, "watch");
    EXPECT_EQ(hb_unsubscribe("watch"), Hb_Success);
    expect_slots("", "watcher", "");
    for (const char byte : nodeEventSubscriptionName) {
        EXPECT_EQ(byte, '\0');
    }
    EXPECT_EQ(hb_unsubscribe("nobody"), Hb_Success);
    expect_slots("", "watcher", "");
}

TEST_F(Subscribing_In_MOX_Mode, ANameThatWasCutIsNotMatchedByItsUncutSelf) {
    const std::string name = "1234567890123456789012345678901234567890";
    const std::string cut = "1234567890123456789012345678901";
    hb_add_site_to_subscription_group(group(), 1);
    EXPECT_EQ(subscribe(group(), 32, name), Hb_Success);
    EXPECT_EQ(hb_unsubscribe(name.c_str()), Hb_Success);
    expect_slots("", "", cut);
    EXPECT_EQ(hb_unsubscribe(cut.c_str()), Hb_Success);
    expect_slots("", "", "");
}

// ---- Names and acknowledgements ----

TEST(Subscription_Names, SlotsEndInNulAndAreClearedWhole) {
    Hb_Name *slots[] = {&nodeEventSubscriptionName, &networkEventSubscriptionName, &siteEventSubscriptionName};
    for (Hb_Name *slot : slots) {
        std::memset(*slot, '#', sizeof *slot);
        hb_set_name(*slot, "12345678901234567890123456789012");
        EXPECT_EQ(std::string(*slot), "1234567890123456789012345678901");
        std::memset(*slot, '#', sizeof *slot);
    }
    hb_clear_subscription_names();
    for (Hb_Name *slot : slots) {
        EXPECT_EQ(std::string(*slot, 32), std::string(32, '\0'));
    }
}

TEST(Site_Acknowledgements, DoNothingAndSucceed) {
    client_initialized = 0;
    auto group = std::make_unique<Hb_Group>();
    std::memset(group.get(), 0x5A, sizeof *group);
    const std::string before(reinterpret_cast<const char *>(group.get()), sizeof *group);
    EXPECT_EQ(hb_site_down(group.get()), Hb_Success);
    EXPECT_EQ(hb_site_merge(group.get()), Hb_Success);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(group.get()), sizeof *group), before);
    EXPECT_EQ(hb_site_down(nullptr), Hb_Success);
    EXPECT_EQ(client_initialized, 0) << "they do not open the library";
}

} // namespace
