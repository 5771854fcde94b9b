// SPDX-License-Identifier: Apache-2.0
// Clients in cluster-event mode over real engines. Some migrate from a wispd; others start without one.
#include <algorithm>
#include <csignal>
#include <fstream>

#include <gmock/gmock.h>

#include "tests/cluster/cluster_test.h"
#include "tests/cluster/service_on_host.h"

namespace hb_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

const std::string EXAMPLE = HB_TEST_BIN_DIR "/cluster_events_example";
const std::string CLIENT = HB_TEST_BIN_DIR "/system_test_client";
const std::string HBCTL = HB_TEST_BIN_DIR "/hbctl";

const std::set<unsigned> ALL_NODES = {1, 2, 3};
const std::set<unsigned> ALL_ADAPTERS = {48, 49, 96, 97, 144, 145};

class CorosyncServiceTest : public ClusterTest {
  protected:
    // Three engines on two links; every engine is on each link.
    void start_engines() {
        hosts_.start_all();
        ASSERT_TRUE(hosts_.wait_quorum()) << hosts_.account();
        for (int host = 1; host <= 3; ++host) {
            for (int peer = 1; peer <= 3; ++peer) {
                for (int link = 0; host != peer && link < 2; ++link) {
                    ASSERT_TRUE(hosts_.wait_reaches(host, peer, link, true))
                        << host << ' ' << peer << ' ' << link;
                }
            }
        }
    }
    Finished run(int host, const std::vector<std::string> &program,
                 const Child_Process::Environment &environment = {}) {
        Child_Process::Environment all = service_environment();
        all.insert(all.end(), environment.begin(), environment.end());
        const std::unique_ptr<Child_Process> process =
            hosts_.places().run(host, with_corosync_service(program), all);
        process->close_input();
        const std::optional<Child_End> end = process->wait();
        return {end ? end->exit_status : -1, process->output(), process->error_output()};
    }

    Hosts hosts_{3, 2};
};

TEST_F(CorosyncServiceTest, AClientWithoutADaemonIsToldOfDeathsReturnsAndLinks) {
    start_engines();
    Service_Client_On_Host client(hosts_, 1, {EXAMPLE});
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    std::size_t mark = client.mark();
    hosts_.cut(2, 1);
    ASSERT_TRUE(client.wait_up(ALL_NODES, {48, 49, 96, 144, 145})) << client.account();
    hosts_.restore(2, 1);
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    EXPECT_THAT(client.told_since(mark), ElementsAre("death adapter 97", "join adapter 97"));

    mark = client.mark();
    hosts_.kill(3);
    ASSERT_TRUE(client.wait_up({1, 2}, {48, 49, 96, 97})) << client.account();
    ASSERT_TRUE(client.wait_told(mark, "configuration")) << client.account();
    EXPECT_THAT(client.told_since(mark), UnorderedElementsAre("death adapter 144", "death adapter 145",
                                                              "death node 3", "configuration"));
    mark = client.mark();
    hosts_.start(3);
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    const std::vector<std::string> return_ = client.told_since(mark);
    EXPECT_THAT(return_,
                UnorderedElementsAre("join node 3", "configuration", "join adapter 144", "join adapter 145"));
    EXPECT_EQ("join node 3", return_.front());
    EXPECT_THAT(client.objections(), IsEmpty());
}

TEST_F(CorosyncServiceTest, AReloadIsOneConfigurationWithWhoLeftAndWhoJoined) {
    const std::vector<Engine_Node> all = hosts_.nodes();
    start_engines();
    Service_Client_On_Host client(hosts_, 1, {EXAMPLE});
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    std::size_t mark = client.mark();
    ASSERT_TRUE(hosts_.reload(2).accepted);
    ASSERT_TRUE(client.wait_told(mark, "configuration")) << client.account();
    EXPECT_THAT(client.told_since(mark), ElementsAre("configuration"));

    hosts_.stop(3);
    ASSERT_TRUE(client.wait_up({1, 2}, {48, 49, 96, 97})) << client.account();
    ASSERT_TRUE(client.wait_told(mark + 1, "configuration")) << client.account();
    mark = client.mark();
    hosts_.set_nodes({all[0], all[1]});
    ASSERT_TRUE(hosts_.reload(1).accepted);
    ASSERT_TRUE(client.wait_told(mark, "configuration")) << client.account();
    hosts_.set_nodes(all);
    mark = client.mark();
    ASSERT_TRUE(hosts_.reload(1).accepted);
    ASSERT_TRUE(client.wait_told(mark, "configuration")) << client.account();
    hosts_.start(3);
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    EXPECT_THAT(client.objections(), IsEmpty());
}

TEST_F(CorosyncServiceTest, AClientThatReadsLateIsToldWhatWentAndCameBackMeanwhile) {
    start_engines();
    Service_Client_On_Host client(hosts_, 1, {EXAMPLE});
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    const std::size_t mark = client.mark();
    client.send_signal(SIGSTOP);
    hosts_.kill(3);
    ASSERT_TRUE(hosts_.wait_sees(1, {1, 2})) << hosts_.account();
    hosts_.start(3);
    ASSERT_TRUE(hosts_.wait_quorum()) << hosts_.account();
    for (const int link : {0, 1}) {
        ASSERT_TRUE(hosts_.wait_reaches(1, 3, link, true));
    }
    client.send_signal(SIGCONT);
    ASSERT_TRUE(client.wait_told(mark, "join node 3")) << client.account();
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    const std::vector<std::string> told = client.told_since(mark);
    for (const char *once : {"death node 3", "join node 3", "death adapter 144", "join adapter 144",
                             "death adapter 145", "join adapter 145"}) {
        EXPECT_EQ(1, std::count(told.begin(), told.end(), once)) << once << "\n" << client.account();
    }
    EXPECT_THAT(client.objections(), IsEmpty());
}

TEST_F(CorosyncServiceTest, AnEngineThatEndsAndReturnsWithinTheGraceIsNoNewsButOfWhatChanged) {
    start_engines();
    Service_Client_On_Host client(hosts_, 1, {EXAMPLE});
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    const std::size_t mark = client.mark();
    hosts_.kill(1);
    hosts_.start(1);
    ASSERT_TRUE(hosts_.wait_quorum()) << hosts_.account();
    hosts_.kill(3);
    ASSERT_TRUE(client.wait_told(mark, "death node 3")) << client.account();
    hosts_.start(3);
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    EXPECT_THAT(client.told_since(mark), testing::Not(Contains("death node 2"))) << client.account();
    EXPECT_THAT(client.objections(), IsEmpty());
}

TEST_F(CorosyncServiceTest, WithoutAnEngineEverythingThatNeedsOneFails) {
    const Finished example = run(1, {EXAMPLE});
    EXPECT_EQ(1, example.exit_status);
    EXPECT_THAT(example.errors, HasSubstr("(HB_ERROR_CLUSTER_QUERY_FAILED, error 63)"));
    EXPECT_THAT(example.errors, HasSubstr("Corosync unreachable"));
}

TEST_F(CorosyncServiceTest, AFileThatIsNoneOfAnEngineIsRefused) {
    std::ofstream(hosts_.places().outside(1, "/run/other.toml"))
        << "[cluster]\nlocal_node = 1\nmax_nodes = 2\nadapters_per_node = 1\n[[network]]\nnumber = 0\nname = "
           "\"n\"\n"
           "[[node]]\nnumber = 1\n[[node.adapter]]\nnetwork = 0\naddress = \"10.0.0.1\"\n";
    const Finished example = run(1, {EXAMPLE}, {{"HB_MOX_COROSYNC_CONFIG", "/run/other.toml"}});
    EXPECT_THAT(example.errors,
                HasSubstr("libqz_mox_corosync: no cluster service is installed: /run/other.toml: does not "
                          "name Corosync as the source; expected a file with [source] type = \"corosync\""));
    const Finished missing = run(1, {EXAMPLE}, {{"HB_MOX_COROSYNC_CONFIG", "/run/none.toml"}});
    EXPECT_THAT(missing.errors,
                HasSubstr("libqz_mox_corosync: no cluster service is installed: /run/none.toml"));
    const Finished long_name = run(1, {EXAMPLE}, {{"HB_MOX_COROSYNC_PEERS", std::string(200, 'x')}});
    EXPECT_THAT(long_name.errors,
                HasSubstr("the peer group's name has 200 characters; at most 111 are permitted"));
}

TEST_F(CorosyncServiceTest, ItStaysOutOfProgramsThatAreNoClients) {
#if defined(HB_ADDRESS_SANITIZER)
    GTEST_SKIP() << "a library with the address sanitizer can be loaded only into a program with it";
#endif
    const Finished shell = run(1, {"sh", "-c", "echo well"}, {{"HB_MOX_COROSYNC_CONFIG", "/run/none.toml"}});
    EXPECT_EQ(0, shell.exit_status);
    EXPECT_EQ("well\n", shell.output);
    EXPECT_EQ("", shell.errors);
}

// ---- From wispd to the service ----

TEST_F(CorosyncServiceTest, WispdAndTheServiceAgreeAndTheEventsGoOnAfterTheMove) {
    start_engines();
    Wispd_On_Host wispd(hosts_, 1);
    ASSERT_TRUE(wispd.start());
    const Finished check = run(1, {HBCTL, "migrate", "--check"});
    EXPECT_EQ(0, check.exit_status) << check.output << check.errors;

    Service_Client_On_Host client(hosts_, 1,
                                  {CLIENT, "open", "subscribe n 7 all-nodes", "subscribe a 7 all-adapters"});
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    const std::size_t in_daemon_mode = client.mark();
    hosts_.cut(2, 0);
    ASSERT_TRUE(client.wait_up(ALL_NODES, {48, 49, 97, 144, 145})) << client.account();
    EXPECT_THAT(client.told_since(in_daemon_mode), ElementsAre("death adapter 96"));

    const std::size_t at_the_move = client.mark();
    client.order("prepare");
    ASSERT_TRUE(client.wait_line("prepared")) << client.account();
    client.order("commit");
    ASSERT_TRUE(client.wait_line("committed")) << client.account();
    EXPECT_EQ(0, wispd.wait_ended()) << wispd.log();
    EXPECT_TRUE(client.running());
    // Both knew the same cluster, so the migration caused no death or join.
    EXPECT_THAT(client.told_since(at_the_move), testing::AnyOf(IsEmpty(), ElementsAre("configuration")));

    const std::size_t afterwards = client.mark();
    hosts_.restore(2, 0);
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    hosts_.kill(3);
    ASSERT_TRUE(client.wait_up({1, 2}, {48, 49, 96, 97})) << client.account();
    hosts_.start(3);
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    EXPECT_THAT(client.told_since(afterwards), Contains("join adapter 96"));
    EXPECT_THAT(client.objections(), IsEmpty());
}

TEST_F(CorosyncServiceTest, WhatHappensBetweenPreparationAndCommitIsToldOnce) {
    start_engines();
    Wispd_On_Host wispd(hosts_, 1);
    ASSERT_TRUE(wispd.start());
    Service_Client_On_Host client(hosts_, 1,
                                  {CLIENT, "open", "subscribe n 7 all-nodes", "subscribe a 7 all-adapters"});
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    client.order("prepare");
    ASSERT_TRUE(client.wait_line("prepared")) << client.account();
    const std::size_t mark = client.mark();
    hosts_.cut(2, 1);
    hosts_.kill(3);
    ASSERT_TRUE(client.wait_up({1, 2}, {48, 49, 96})) << client.account();
    client.order("commit");
    ASSERT_TRUE(client.wait_line("committed")) << client.account();
    hosts_.restore(2, 1);
    ASSERT_TRUE(client.wait_up({1, 2}, {48, 49, 96, 97})) << client.account();
    const std::vector<std::string> told = client.told_since(mark);
    EXPECT_EQ(1, std::count(told.begin(), told.end(), "death node 3"));
    EXPECT_EQ(1, std::count(told.begin(), told.end(), "death adapter 97"));
    EXPECT_EQ(1, std::count(told.begin(), told.end(), "join adapter 97"));
    EXPECT_THAT(client.objections(), IsEmpty());
}

// ---- Peers ----

TEST_F(CorosyncServiceTest, AMembershipDaemonThatEndsIsTheDeathOfItsNodeForItsPeersAlone) {
    start_engines();
    const Child_Process::Environment peers = {{"HB_MOX_COROSYNC_PEERS", "grpd"}};
    Service_Client_On_Host first(hosts_, 1, {EXAMPLE}, peers);
    Service_Client_On_Host stranger(hosts_, 1, {EXAMPLE});
    auto second = std::make_unique<Service_Client_On_Host>(hosts_, 2, std::vector<std::string>{EXAMPLE}, peers);
    for (Service_Client_On_Host *client : {&first, &stranger, second.get()}) {
        ASSERT_TRUE(client->wait_up(ALL_NODES, ALL_ADAPTERS)) << client->account();
    }
    const std::size_t mark = first.mark();
    const std::size_t mark_of_stranger = stranger.mark();
    second.reset(); // killed
    ASSERT_TRUE(first.wait_told(mark, "death node 2")) << first.account();
    Service_Client_On_Host again(hosts_, 2, {EXAMPLE}, peers);
    ASSERT_TRUE(first.wait_told(mark, "join node 2")) << first.account();
    EXPECT_THAT(first.told_since(mark), ElementsAre("death node 2", "join node 2"));
    EXPECT_THAT(stranger.told_since(mark_of_stranger), IsEmpty());
}

TEST_F(CorosyncServiceTest, AnEngineThatRestartsIsNoDeathOfPeersAndTheirEndIsToldAllTheSame) {
    start_engines();
    std::ofstream(hosts_.places().outside(1, "/run/patient.toml"))
        << "[source]\ntype = \"corosync\"\ngrace_seconds = 60\n";
    const Child_Process::Environment peers = {{"HB_MOX_COROSYNC_PEERS", "grpd"},
                                              {"HB_MOX_COROSYNC_CONFIG", "/run/patient.toml"}};
    Service_Client_On_Host first(hosts_, 1, {EXAMPLE}, peers);
    auto second = std::make_unique<Service_Client_On_Host>(hosts_, 2, std::vector<std::string>{EXAMPLE},
                                                           Child_Process::Environment{peers.front()});
    for (Service_Client_On_Host *client : {&first, second.get()}) {
        ASSERT_TRUE(client->wait_up(ALL_NODES, ALL_ADAPTERS)) << client->account();
    }
    const std::size_t mark = first.mark();
    hosts_.kill(1);
    hosts_.start(1);
    ASSERT_TRUE(hosts_.wait_quorum()) << hosts_.account();
    second.reset(); // killed
    ASSERT_TRUE(first.wait_told(mark, "death node 2")) << first.account();
    Service_Client_On_Host again(hosts_, 2, {EXAMPLE}, {peers.front()});
    ASSERT_TRUE(first.wait_told(mark, "join node 2")) << first.account();
    std::vector<std::string> nodes = first.told_since(mark);
    std::erase_if(nodes, [](const std::string &told) { return told.find(" node ") == std::string::npos; });
    EXPECT_THAT(nodes, ElementsAre("death node 2", "join node 2")) << first.account();
}

} // namespace
} // namespace hb_test
