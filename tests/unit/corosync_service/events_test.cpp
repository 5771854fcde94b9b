// SPDX-License-Identifier: Apache-2.0
// The events of the cluster service over Corosync on its monitors, and when they are sent.
#include <cerrno>
#include <pthread.h>
#include <sys/epoll.h>
#include <thread>

#include "tests/support/deadline.h"
#include "tests/unit/corosync_service/service_fixture.h"

namespace hb_test {
namespace {

class Corosync_Events : public Corosync_Service_Test {};

// The list of nodes that the library queries while it handles an event.
std::string nodes_after(const Read_Event &event) {
    qz_mox_node_info_t *list = nullptr;
    EXPECT_EQ(0, qz_mox_get_node_info_after_event(nullptr, &event.metadata(), &list));
    std::string text;
    for (const qz_mox_node_info_t *node = list; node != nullptr; node = node->p_next) {
        text += std::to_string(node->number) + (node->status == QZ_MOX_NODE_STATUS_UP ? "+" : "-");
    }
    qz_mox_release_node_info(list);
    return text;
}

// ---- Monitors ----

TEST_F(Corosync_Events, EveryMonitorOfTheInterfaceCanBeOpenedAndNoOther) {
    start();
    for (const char *name : {"node_liveness", "adapter_liveness", "node_list", "peer_gs_liveness", "ip_change",
                             "cluster_reconfig", "site_cfg", "repos_disk"}) {
        const Unique_Fd monitor = open(name);
        EXPECT_EQ(NOTHING, read(monitor, 0)) << name;
    }
    int fd = -1;
    errno = 0;
    EXPECT_EQ(-1, qz_orb_open_monitor("weather", &fd));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, fd);
}

TEST_F(Corosync_Events, AMonitorIsReadableWhenTheEngineHasNewsAndWhileEventsAreHeld) {
    start(std::nullopt, std::chrono::seconds(100), std::chrono::seconds(100));
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd adapters = open("adapter_liveness");
    EXPECT_FALSE(is_readable(liveness));
    cluster_->tell_members({{1, 1}});
    EXPECT_TRUE(is_readable(liveness));
    EXPECT_TRUE(is_readable(adapters)); // it is not known yet which monitor it concerns
    EXPECT_EQ(NOTHING, read_adapter(adapters));
    EXPECT_EQ(NOTHING, read_adapter(adapters)); // the links are checked after the members
    EXPECT_FALSE(is_readable(adapters));
    EXPECT_TRUE(is_readable(liveness));
    EXPECT_EQ("down 2", read_node(liveness));
    EXPECT_TRUE(is_readable(liveness));
    EXPECT_EQ("down 3", read_node(liveness));
    EXPECT_FALSE(is_readable(liveness));
    EXPECT_EQ(NOTHING, read_node(liveness));
}

TEST_F(Corosync_Events, AMonitorIsReadableWhenTheLinksAreToBeLookedAt) {
    start(std::nullopt, std::chrono::seconds(100), std::chrono::milliseconds(20));
    const Unique_Fd adapters = open("adapter_liveness");
    link(2, 0, false);
    EXPECT_TRUE(wait_readable(adapters.get()));
    EXPECT_TRUE(wait_until([&] { return read_adapter(adapters) == "down 2 knet0"; }));
}

TEST_F(Corosync_Events, AMonitorCanBeWaitedOnByEpoll) {
    start(std::nullopt, std::chrono::seconds(100), std::chrono::seconds(100));
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd waiting(epoll_create1(EPOLL_CLOEXEC));
    epoll_event wanted{};
    wanted.events = EPOLLIN;
    ASSERT_EQ(0, epoll_ctl(waiting.get(), EPOLL_CTL_ADD, liveness.get(), &wanted));
    epoll_event seen{};
    EXPECT_EQ(0, epoll_wait(waiting.get(), &seen, 1, 0));
    cluster_->tell_members({{1, 1}});
    EXPECT_EQ(1, epoll_wait(waiting.get(), &seen, 1, 0));
}

TEST_F(Corosync_Events, EveryOpenMonitorIsToldAndOneThatIsOpenedLaterHearsOfWhatComesThen) {
    start();
    const Unique_Fd first = open("node_liveness");
    const Unique_Fd second = open("node_liveness");
    node_dies(3);
    const Unique_Fd late = open("node_liveness");
    node_dies(2);
    EXPECT_EQ("down 3", read_node(first));
    EXPECT_EQ("down 2", read_node(first));
    EXPECT_EQ("down 3", read_node(second));
    EXPECT_EQ("down 2", read_node(late));
    EXPECT_EQ("down 2", read_node(second));
    EXPECT_EQ(NOTHING, read_node(late));
}

TEST_F(Corosync_Events, ADescriptorThatIsNoMonitorHasNoEvents) {
    start();
    node_dies(3);
    EXPECT_EQ(NOTHING, read_node(Unique_Fd(epoll_create1(EPOLL_CLOEXEC))));
}

TEST_F(Corosync_Events, TheySayWhichOneTheyAre) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    node_dies(2);
    node_dies(3);
    Read_Event first(liveness.get(), 0);
    ASSERT_EQ("down 2", first.text());
    EXPECT_EQ(2U, first.metadata().event.p_node_liveness->node_id);
    const uint64_t sequence = first.metadata().event.p_node_liveness->sequence_number;
    EXPECT_LT(0U, sequence);
    Read_Event second(liveness.get(), 0);
    EXPECT_LT(sequence, second.metadata().event.p_node_liveness->sequence_number);
}

TEST_F(Corosync_Events, AThreadThatIsCancelledLosesNone) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    node_dies(3);
    std::string told;
    std::thread reader([&] {
        pthread_cancel(pthread_self());
        told = read_node(liveness);
    });
    reader.join();
    EXPECT_EQ("down 3", told);
}

// ---- Nodes and adapters ----

TEST_F(Corosync_Events, ANodesDeathAndReturnStandForItsAdapters) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd adapters = open("adapter_liveness");
    node_dies(3);
    EXPECT_EQ("down 3", read_node(liveness));
    EXPECT_EQ(NOTHING, read_adapter(adapters));
    EXPECT_EQ("1 knet0 up, 1 knet1 up, 2 knet0 up, 2 knet1 up, 3 knet0 down, 3 knet1 down", interfaces());
    node_returns(3);
    EXPECT_EQ("up 3", read_node(liveness));
    EXPECT_EQ(NOTHING, read_adapter(adapters));
    EXPECT_EQ("1 knet0 up, 1 knet1 up, 2 knet0 up, 2 knet1 up, 3 knet0 up, 3 knet1 up", interfaces());
}

TEST_F(Corosync_Events, AnAdapterOfALivingNodeIsToldByItself) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd adapters = open("adapter_liveness");
    link(2, 1, false);
    EXPECT_EQ("down 2 knet1", read_adapter(adapters));
    link(2, 1, true);
    EXPECT_EQ("up 2 knet1", read_adapter(adapters));
    EXPECT_EQ(NOTHING, read_node(liveness));
}

TEST_F(Corosync_Events, TheLocalNodesAdaptersAreToldAsTheOthers) {
    start();
    const Unique_Fd adapters = open("adapter_liveness");
    cables_.cut["10.2.0.1"] = true;
    EXPECT_EQ("down 1 knet1", read_adapter(adapters));
}

TEST_F(Corosync_Events, AnAdapterThatFlappedIsToldAsDownAndUp) {
    start();
    const Unique_Fd adapters = open("adapter_liveness");
    link_flaps(3, 0);
    EXPECT_EQ("down 3 knet0", read_adapter(adapters));
    EXPECT_EQ("up 3 knet0", read_adapter(adapters));
    EXPECT_EQ(NOTHING, read_adapter(adapters));
}

TEST_F(Corosync_Events, ANodeThatFlappedIsDownWhileItsDeathIsHandledAndUpAfterwards) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd adapters = open("adapter_liveness");
    node_returns(3);
    Read_Event death(liveness.get(), 0);
    ASSERT_EQ("down 3", death.text());
    EXPECT_EQ("1+2+3-", nodes_after(death));
    EXPECT_EQ("1 knet0 up, 1 knet1 up, 2 knet0 up, 2 knet1 up, 3 knet0 down, 3 knet1 down", interfaces());
    death.release();
    Read_Event return_(liveness.get(), 0);
    ASSERT_EQ("up 3", return_.text());
    EXPECT_EQ("1+2+3+", nodes_after(return_));
    return_.release();
    EXPECT_EQ(NOTHING, read_node(liveness));
    EXPECT_EQ(NOTHING, read_adapter(adapters));
}

TEST_F(Corosync_Events, WhatIsHeldForTheAdaptersOfANodeIsTakenBackByItsDeath) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd adapters = open("adapter_liveness");
    link(3, 0, false);
    link(2, 0, false);
    EXPECT_EQ(NOTHING, read_node(liveness)); // checks the cluster
    node_dies(3);
    EXPECT_EQ("down 3", read_node(liveness));
    EXPECT_EQ("down 2 knet0", read_adapter(adapters));
    EXPECT_EQ(NOTHING, read_adapter(adapters));
    EXPECT_EQ(NOTHING, read_adapter(adapters));
}

TEST_F(Corosync_Events, WhatHappensToAdaptersBeforeTheirNodesReturnIsReadIsNotToldByItself) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd adapters = open("adapter_liveness");
    link(3, 1, false);
    node_dies(3);
    EXPECT_EQ("down 3", read_node(liveness));
    node_returns(3);
    EXPECT_EQ(NOTHING, read_adapter(adapters)); // checks the cluster
    link(3, 1, true);
    EXPECT_EQ(NOTHING, read_adapter(adapters));
    EXPECT_EQ("up 3", read_node(liveness));
    EXPECT_EQ("1 knet0 up, 1 knet1 up, 2 knet0 up, 2 knet1 up, 3 knet0 up, 3 knet1 up", interfaces());
    link(3, 1, false);
    EXPECT_EQ("down 3 knet1", read_adapter(adapters));
}

// ---- Configurations ----

TEST_F(Corosync_Events, AReloadIsOneReconfiguration) {
    start();
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    const Unique_Fd liveness = open("node_liveness");
    cluster_->configuration.nodes.push_back({4, "four", {{0, "10.1.0.4"}, {1, "10.2.0.4"}}});
    cluster_->configuration.nodes.erase(cluster_->configuration.nodes.begin() + 1);
    cluster_->tell_reload();
    EXPECT_EQ("reconfiguration", read_reconfiguration(reconfigurations));
    EXPECT_EQ(NOTHING, read_reconfiguration(reconfigurations));
    EXPECT_EQ(NOTHING, read_node(liveness));
    EXPECT_EQ("1 up, 3 up, 4 down", nodes());
}

TEST_F(Corosync_Events, AReloadThatIsRefusedIsNone) {
    start();
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    cluster_->news.reload_rejected = true;
    cluster_->bell.ring();
    EXPECT_EQ(NOTHING, read_reconfiguration(reconfigurations));
}

TEST_F(Corosync_Events, ANodeThatDiesWithAReloadIsToldByItself) {
    start();
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    const Unique_Fd liveness = open("node_liveness");
    cluster_->news.configuration = true;
    node_dies(3);
    Read_Event reload(reconfigurations.get(), 100);
    ASSERT_EQ("reconfiguration", reload.text());
    EXPECT_EQ("1+2+3+", nodes_after(reload)); // its death is still unread
    reload.release();
    Read_Event death(liveness.get(), 0);
    ASSERT_EQ("down 3", death.text());
    EXPECT_EQ("1+2+3-", nodes_after(death));
}

TEST_F(Corosync_Events, WhatIsHeldForANodeIsTakenBackWhenAReloadRemovesIt) {
    start();
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    const Unique_Fd liveness = open("node_liveness");
    node_dies(3);
    node_dies(2);
    EXPECT_EQ(NOTHING, read_reconfiguration(reconfigurations)); // checks the cluster
    cluster_->configuration.nodes.pop_back();
    cluster_->tell_reload();
    EXPECT_EQ("reconfiguration", read_reconfiguration(reconfigurations));
    EXPECT_EQ("down 2", read_node(liveness));
    EXPECT_EQ(NOTHING, read_node(liveness));
}

// ---- Whole readings ----

TEST_F(Corosync_Events, AWholeReadingLeavesEveryUnreadEvent) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd adapters = open("adapter_liveness");
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    node_returns(3); // down and up
    link_flaps(2, 0);
    link(2, 1, false);
    EXPECT_EQ(NOTHING, read_reconfiguration(reconfigurations)); // checks the cluster
    EXPECT_EQ(1, local_node());
    EXPECT_EQ("down 3", read_node(liveness));
    EXPECT_EQ("up 3", read_node(liveness));
    EXPECT_EQ(NOTHING, read_node(liveness));
    EXPECT_EQ("down 2 knet0", read_adapter(adapters));
    EXPECT_EQ("down 2 knet1", read_adapter(adapters));
    EXPECT_EQ("up 2 knet0", read_adapter(adapters));
    EXPECT_EQ(NOTHING, read_adapter(adapters));
    cluster_->tell_reload();
    EXPECT_EQ(1, local_node());
    EXPECT_EQ("reconfiguration", read_reconfiguration(reconfigurations));
    EXPECT_EQ(NOTHING, read_reconfiguration(reconfigurations));
}

TEST_F(Corosync_Events, AWholeReadingChangesNoLaterAnswer) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    const Unique_Fd adapters = open("adapter_liveness");
    link(3, 1, false);
    node_dies(3);
    EXPECT_EQ("down 3", read_node(liveness));
    node_returns(3);
    EXPECT_EQ(1, local_node());
    cluster_->tell_reload();
    Read_Event reload(reconfigurations.get(), 100);
    ASSERT_EQ("reconfiguration", reload.text());
    EXPECT_EQ("1+2+3-", nodes_after(reload)); // its return is still unread
    reload.release();
    link(3, 1, true);
    EXPECT_EQ(NOTHING, read_adapter(adapters)); // its node's return includes it
    EXPECT_EQ("up 3", read_node(liveness));
    EXPECT_EQ("1 knet0 up, 1 knet1 up, 2 knet0 up, 2 knet1 up, 3 knet0 up, 3 knet1 up", interfaces());
}

} // namespace
} // namespace hb_test
