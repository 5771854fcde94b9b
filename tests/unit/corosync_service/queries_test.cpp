// SPDX-License-Identifier: Apache-2.0
// The answers of the cluster service over Corosync, from the engine's first answer to its return.
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "providers/service/loading.h"
#include "tests/support/deadline.h"
#include "tests/support/process_counters.h"
#include "tests/unit/corosync_service/service_fixture.h"

namespace hb_test {
namespace {

class Corosync_Queries : public Corosync_Service_Test {};

TEST_F(Corosync_Queries, TheServiceIsInstalledWhileItLivesAndOneAtATime) {
    EXPECT_EQ(0, qz_mox_service_present());
    start();
    EXPECT_EQ(1, qz_mox_service_present());
    const std::unique_ptr<mox_followed::Followed_Service> first = std::move(service_);
    EXPECT_THROW(start(), std::logic_error);
    EXPECT_EQ(1, qz_mox_service_present());
}

TEST_F(Corosync_Queries, TheEnginesClusterIsTold) {
    link(3, 1, false);
    start();
    qz_mox_cluster_info_t *info = nullptr;
    ASSERT_EQ(0, qz_mox_get_cluster_info(nullptr, &info));
    EXPECT_EQ(1U, info->local_node_number);
    EXPECT_STREQ("test", info->p_cluster_name);
    qz_mox_release_cluster_info(info);
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
    EXPECT_EQ("1 knet0 up, 1 knet1 up, 2 knet0 up, 2 knet1 up, 3 knet0 up, 3 knet1 down", interfaces());
}

TEST_F(Corosync_Queries, NodesHaveTheirNamesAndInterfacesTheirAddresses) {
    start();
    qz_mox_node_info_t *list = nullptr;
    ASSERT_EQ(0, qz_mox_get_node_info(nullptr, &list));
    EXPECT_STREQ("one", list->p_name);
    qz_mox_release_node_info(list);
    qz_mox_net_intf_info_t *interfaces_of_all = nullptr;
    ASSERT_EQ(0, qz_mox_get_net_intf_info(nullptr, &interfaces_of_all));
    const unsigned char mapped[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 1, 0, 1};
    EXPECT_EQ(0, std::memcmp(mapped, &interfaces_of_all->ip_addr, sizeof mapped));
    qz_mox_release_net_intf_info(interfaces_of_all);
}

TEST_F(Corosync_Queries, WithoutAnEngineTheyFailUntilThereIsOne) {
    cluster_->runs = false;
    start();
    errno = 0;
    EXPECT_EQ(-1, local_node());
    EXPECT_EQ(ENOTCONN, errno);
    EXPECT_EQ("-1", nodes());
    EXPECT_EQ("-1", interfaces());
    cluster_->runs = true;
    EXPECT_TRUE(wait_until([] { return local_node() == 1; }));
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
}

TEST_F(Corosync_Queries, AMonitorThatIsOpenBeforeTheEngineRunsIsToldOfANewConfiguration) {
    cluster_->runs = false;
    start();
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    EXPECT_EQ(NOTHING, read_reconfiguration(reconfigurations));
    cluster_->runs = true;
    EXPECT_TRUE(wait_until([&] { return read_reconfiguration(reconfigurations) == "reconfiguration"; }));
}

TEST_F(Corosync_Queries, AConfigurationWithoutAPlaceInTheModelIsNoCluster) {
    cluster_->configuration.nodes[2].id = 70001;
    start();
    EXPECT_EQ(-1, local_node());
    EXPECT_THAT(lines(), testing::Contains(testing::HasSubstr("70001")));
}

TEST_F(Corosync_Queries, WhileNoMonitorIsOpenEachLooks) {
    start();
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
    node_dies(3);
    EXPECT_EQ("1 up, 2 up, 3 down", nodes());
    node_returns(3);
    EXPECT_EQ("1 knet0 up, 1 knet1 up, 2 knet0 up, 2 knet1 up, 3 knet0 up, 3 knet1 up", interfaces());
}

TEST_F(Corosync_Queries, WhileAMonitorIsOpenTheyTellWhatItHasBeenTold) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    node_dies(3);
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
    EXPECT_EQ("down 3", read_node(liveness));
    EXPECT_EQ("1 up, 2 up, 3 down", nodes());
}

TEST_F(Corosync_Queries, AskingForTheClusterItselfLooksAndReportsNothingThatIsUnread) {
    start(std::nullopt, std::chrono::seconds(100), std::chrono::seconds(100));
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    node_dies(3);
    cluster_->configuration.nodes.push_back({4, "four", {{0, "10.1.0.4"}, {1, "10.2.0.4"}}});
    cluster_->tell_reload();
    EXPECT_EQ("1 up, 2 up, 3 up", nodes()); // this query does not check the cluster
    EXPECT_EQ(1, local_node());
    EXPECT_EQ("1 up, 2 up, 3 up, 4 down", nodes());
    EXPECT_EQ("down 3", read_node(liveness));
    EXPECT_EQ("1 up, 2 up, 3 down", nodes());
    EXPECT_EQ("reconfiguration", read_reconfiguration(reconfigurations));
    EXPECT_EQ("1 up, 2 up, 3 down, 4 down", nodes());
}

// A death that the reading finds is reported before the links are checked. The reading still includes the
// links.
TEST_F(Corosync_Queries, AWholeReadingIsOfNodesAndLinksAtTheSameTime) {
    start(std::nullopt, std::chrono::seconds(100), std::chrono::milliseconds(1));
    const Unique_Fd reconfigurations =
        open("cluster_reconfig"); // without their own monitors, nodes and links have no events
    link(2, 1, false);
    node_dies(3);
    EXPECT_EQ(1, local_node());
    EXPECT_EQ("1 up, 2 up, 3 down", nodes());
    EXPECT_EQ("1 knet0 up, 1 knet1 up, 2 knet0 up, 2 knet1 down, 3 knet0 down, 3 knet1 down", interfaces());
}

TEST_F(Corosync_Queries, NothingMovesWhileAnEventIsHandled) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    node_dies(3);
    Read_Event event(liveness.get(), 0);
    ASSERT_EQ("down 3", event.text());
    node_dies(2);
    link(2, 1, false);
    EXPECT_EQ(1, local_node());
    EXPECT_EQ("1 up, 2 up, 3 down", nodes());
    EXPECT_EQ("1 knet0 up, 1 knet1 up, 2 knet0 up, 2 knet1 up, 3 knet0 down, 3 knet1 down", interfaces());
    event.release();
    EXPECT_EQ("down 2", read_node(liveness));
    EXPECT_EQ("1 up, 2 down, 3 down", nodes());
}

// ---- The engine's end ----

TEST_F(Corosync_Queries, TheClusterStaysAsItWasWhenTheEngineEnds) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    engine_ends();
    EXPECT_EQ(NOTHING, read_node(liveness));
    EXPECT_EQ(1, local_node());
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
}

TEST_F(Corosync_Queries, TheOthersAreDeadWhenTheEngineStaysAway) {
    start(std::nullopt, std::chrono::milliseconds(50));
    const Unique_Fd liveness = open("node_liveness");
    engine_ends();
    std::string told;
    EXPECT_TRUE(wait_until([&] { return (told = read_node(liveness)) != NOTHING; }));
    EXPECT_EQ("down 2", told);
    EXPECT_EQ("down 3", read_node(liveness));
    EXPECT_EQ(NOTHING, read_node(liveness));
    EXPECT_EQ("1 up, 2 down, 3 down", nodes());
}

TEST_F(Corosync_Queries, WhatChangedMeanwhileIsToldWhenTheEngineIsBack) {
    start(std::nullopt, std::chrono::milliseconds(500)); // unseen members count as up for this long
    const Unique_Fd liveness = open("node_liveness");
    const Unique_Fd adapters = open("adapter_liveness");
    engine_ends();
    EXPECT_EQ(NOTHING, read_node(liveness));
    link(2, 1, false);
    cluster_->runs = true;
    std::string told;
    EXPECT_TRUE(wait_until([&] { return (told = read_adapter(adapters)) != NOTHING; }));
    EXPECT_EQ("down 2 knet1", told);
    EXPECT_EQ(NOTHING, read_adapter(adapters));
    EXPECT_EQ(NOTHING, read_node(liveness));
}

// ---- Children ----

TEST_F(Corosync_Queries, AForkedChildHasNoServiceAndItsParentKeepsIts) {
    start();
    mox_service::uninstall_in_children();
    const Unique_Fd liveness = open("node_liveness");
    node_dies(3);
    const pid_t child = fork();
    if (child == 0) {
        qz_orb_event_metadata_t event{};
        _exit(qz_mox_service_present() == 0 && qz_orb_read_event(liveness.get(), 0, &event) == -1 ? 0 : 1);
    }
    ASSERT_GT(child, 0);
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ("down 3", read_node(liveness));
}

TEST_F(Corosync_Queries, ItLeavesNoDescriptors) {
    const int before = open_descriptors();
    start();
    {
        const Unique_Fd liveness = open("node_liveness");
        const Unique_Fd peers = open("peer_gs_liveness");
        node_dies(3);
        EXPECT_EQ("down 3", read_node(liveness));
    }
    stop();
    EXPECT_EQ(before, open_descriptors());
}

TEST_F(Corosync_Queries, CallsComeFromSeveralThreads) {
    start();
    const Unique_Fd liveness = open("node_liveness");
    std::thread asker([] {
        for (int i = 0; i < 200; ++i) {
            EXPECT_EQ(1, local_node());
            EXPECT_NE("-1", interfaces());
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(NOTHING, read_node(liveness));
        EXPECT_NE("-1", nodes());
    }
    asker.join();
}

} // namespace
} // namespace hb_test
