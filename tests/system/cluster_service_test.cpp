// SPDX-License-Identifier: Apache-2.0
// A client in cluster-event mode, with the simulated service loaded from its library. The client receives the
// service's events through hb_get_event_message, one event each time that its descriptors are ready.
#include <algorithm>
#include <csignal>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/system/clusters.h"
#include "tests/system/service_client.h"

namespace hb_test {
namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t AT_START = 4;

class Cluster_Service : public testing::TestWithParam<Setup> {
  protected:
    const Programs &programs() const { return GetParam().clients.back(); }
};

TEST_P(Cluster_Service, TheNodesAndAdaptersThatAreUpComeFirst) {
    Service_Client client(programs(), small_cluster_file());
    EXPECT_EQ((Lines{"watching", "Hb_Config_Group: event 128", "nodes: event 4 node 1 node 2 node 3",
                     "adapters: event 4 adapter 48 adapter 49 adapter 96 adapter 97 adapter 144 adapter 145"}),
              client.lines(AT_START));
}

TEST_P(Cluster_Service, ANodeThatDiesTakesItsAdaptersWithItAndComesBackBeforeThem) {
    Service_Client client(programs(), small_cluster_file());
    client.lines(AT_START);
    ASSERT_TRUE(client.tells(R"({"do":"node-down","node":3})"));
    EXPECT_EQ((Lines{"adapters: event 1 adapter 144 adapter 145", "nodes: event 1 node 3",
                     "Hb_Config_Group: event 128"}),
              client.lines(3));
    ASSERT_TRUE(client.tells(R"({"do":"node-up","node":3})"));
    EXPECT_EQ((Lines{"nodes: event 2 node 3", "Hb_Config_Group: event 128",
                     "adapters: event 2 adapter 144 adapter 145"}),
              client.lines(3));
}

TEST_P(Cluster_Service, AnAdapterFailsAndIsRepairedWhileItsNodeStaysUp) {
    Service_Client client(programs(), small_cluster_file());
    client.lines(AT_START);
    ASSERT_TRUE(client.tells(R"({"do":"adapter-down","adapter":5})"));
    ASSERT_TRUE(client.tells(R"({"do":"adapter-up","adapter":5})"));
    EXPECT_EQ((Lines{"adapters: event 1 adapter 97", "adapters: event 2 adapter 97"}), client.lines(2));
}

TEST_P(Cluster_Service, ANodeLeavesTheConfigurationAndJoinsItAgain) {
    Service_Client client(programs(), small_cluster_file());
    client.lines(AT_START);
    ASSERT_TRUE(client.tells(R"({"do":"node-leave","node":2})"));
    EXPECT_EQ((Lines{"adapters: event 1 adapter 96 adapter 97", "nodes: event 1 node 2",
                     "Hb_Config_Group: event 128"}),
              client.lines(3));
    ASSERT_TRUE(client.tells(R"({"do":"node-join","node":2})"));
    EXPECT_EQ((Lines{"Hb_Config_Group: event 128", "nodes: event 2 node 2",
                     "adapters: event 2 adapter 96 adapter 97"}),
              client.lines(3));
}

TEST_P(Cluster_Service, AnAddressThatChangesIsADeathAndAJoin) {
    Service_Client client(programs(), small_cluster_file());
    client.lines(AT_START);
    ASSERT_TRUE(client.tells(R"({"do":"swap-adapters","adapter":2,"address":"10.2.0.1"})"));
    EXPECT_EQ((Lines{"adapters: event 1 adapter 48 adapter 49", "Hb_Config_Group: event 128",
                     "adapters: event 2 adapter 48 adapter 49"}),
              client.lines(3));
}

TEST_P(Cluster_Service, AFileThatIsReadAgainIsOneNewConfiguration) {
    Service_Client client(programs(), small_cluster_file());
    client.lines(AT_START);
    client.write_configuration(replaced(small_cluster_file(), "10.1.0.2", "10.1.0.22"));
    ASSERT_TRUE(client.tells(R"({"do":"reconfigure"})"));
    EXPECT_EQ(
        (Lines{"adapters: event 1 adapter 96", "Hb_Config_Group: event 128", "adapters: event 2 adapter 96"}),
        client.lines(3));
}

TEST_P(Cluster_Service, ASuspicionWithoutASignOfLifeBecomesADeath) {
    Service_Client client(programs(), small_cluster_file() + "\n[suspicion]\nconfirm_seconds = 0.05\n");
    client.lines(AT_START);
    ASSERT_TRUE(client.tells(R"({"do":"node-may-be-down","node":3})"));
    EXPECT_EQ((Lines{"adapters: event 1 adapter 144 adapter 145", "nodes: event 1 node 3",
                     "Hb_Config_Group: event 128"}),
              client.lines(3));
}

TEST_P(Cluster_Service, TheConfiguredTimelineBeginsWhenTheClientListens) {
    // Events that only a daemon sends are skipped.
    const std::string timeline = R"([[event]]
after = 0
do = "ffdc"
[[event]]
after = 0
do = "adapter-down"
adapter = 5
[[event]]
after = 0.3
do = "adapter-down"
adapter = 7
)";
    Service_Client client(programs(), small_cluster_file() + "\n[source]\ntimeline = \"t.toml\"\n",
                          {{"t.toml", timeline}});
    EXPECT_EQ(Lines{"watching"}, client.lines(1));
    EXPECT_TRUE(client.process().read_until("adapters: event 1 adapter 97"));
    EXPECT_TRUE(client.process().read_until("adapters: event 1 adapter 145"));
}

TEST_P(Cluster_Service, ItsStateIsToldToPeople) {
    Service_Client client(programs(), small_cluster_file());
    client.lines(AT_START);
    const std::string state = client.tell(R"({"do":"state"})");
    EXPECT_EQ(0U, state.find(R"({"ok":true,"state":{"cluster":"small","local_node":1,"nodes":[)"
                             R"({"number":1,"name":"alpha","state":"up","interfaces":[)"
                             R"({"name":"eth0","address":"10.1.0.1","state":"up"},)"
                             R"({"name":"eth1","address":"10.2.0.1","state":"up"}]},)"))
        << state;
    EXPECT_NE(std::string::npos, state.find(R"({"number":4,"name":"delta","state":"down")")) << state;
    EXPECT_NE(std::string::npos, state.find(R"("monitors_opened":7,"timeline":{"events":0,"played":0}})"))
        << state;
}

TEST_P(Cluster_Service, WhatOnlyADaemonTellsIsRefused) {
    Service_Client client(programs(), small_cluster_file());
    client.lines(AT_START);
    EXPECT_EQ(R"({"error":"ffdc applies to wispd only; a cluster service does not report it","ok":false})",
              client.tell(R"({"do":"ffdc"})"));
    EXPECT_EQ(R"({"error":"stop applies to wispd only; a cluster service does not report it","ok":false})",
              client.tell(R"({"do":"stop"})"));
    EXPECT_EQ(R"({"error":"log-level applies to wispd only; a cluster service does not report it","ok":false})",
              client.tell(R"({"do":"log-level","level":"debug"})"));
    EXPECT_NE(std::string::npos, client.tell(R"({"do":"node-down","node":7})").find(R"("ok":false)"));
    EXPECT_NE(std::string::npos, client.tell("rubbish").find(R"("ok":false)"));
}

TEST_P(Cluster_Service, ItIsGoneWithItsClient) {
    Service_Client client(programs(), small_cluster_file());
    client.lines(AT_START);
    client.process().send_signal(SIGTERM);
    ASSERT_TRUE(client.process().wait());
    // The socket of a service that was killed, or that ended, does not prevent a start.
    EXPECT_THROW(client.tell(R"({"do":"state"})"), std::exception);
}

SYSTEM_TESTS(Cluster_Service);

// ---- Why it cannot be installed ----

struct Refused_Service {
    std::string output;
    std::string errors;
    int exit_status;
};

Refused_Service run_with(const std::string &program, const Child_Process::Environment &settings) {
    const Programs own = programs_of_this_build();
    const Temp_Dir directory;
    Child_Process::Environment environment = service_preloaded(own);
    environment.insert(environment.end(), {{"HB_SERVER_SOCKET", directory.file("no_daemon")},
                                           {"HA_DOMAIN_NAME", ""},
                                           {"HA_SYSPAR_NAME", ""},
                                           {"HB_MOX_SIM_CONFIG", ""},
                                           {"HB_MOX_SIM_CONTROL", ""}});
    environment.insert(environment.end(), settings.begin(), settings.end());
    Child_Process process({own.path(program), "--version"}, environment);
    const std::optional<Child_End> end = process.wait();
    return {process.output(), process.error_output(), end ? end->exit_status : -1};
}

TEST(Cluster_Service_Refused, AFileThatCannotBeTakenIsSaidWithItsPlaceAndTheQueriesFail) {
    const Temp_Dir directory;
    const std::string path = directory.file("bad.toml");
    std::ofstream(path) << "[cluster]\nlocal_node = 1\nmax_nodes = \"many\"\nadapters_per_node = 2\n";
    const Refused_Service refused = run_with("cluster_events_example", {{"HB_MOX_SIM_CONFIG", path}});
    EXPECT_EQ(0U, refused.errors.find("libqz_mox_sim: no cluster service is installed: " + path + ":3:13: "))
        << refused.errors;
    EXPECT_NE(std::string::npos,
              refused.errors.find("cluster_events: the cluster service did not answer (none is installed) "
                                  "(HB_ERROR_CLUSTER_QUERY_FAILED, error 63)\n"));
    EXPECT_EQ(1, refused.exit_status);
}

TEST(Cluster_Service_Fork, AChildHasNoServiceAndItsEndTakesNothingFromTheParent) {
    const Temp_Dir directory;
    const std::string path = directory.file("cluster.toml");
    std::ofstream(path) << small_cluster_file();
    const Refused_Service run =
        run_with("forking_client", {{"HB_MOX_SIM_CONFIG", path}, {"HB_MOX_SIM_CONTROL", directory.file("c")}});
    EXPECT_EQ("child: 3, error 63\n"
              "parent: child's status 0, control socket there, prepares 2\n",
              run.output);
}

TEST(Cluster_Service_Refused, ALogLevelThatThereIsNotIsSaid) {
    const Refused_Service refused =
        run_with("cluster_events_example", {{"HB_MOX_SIM_CONFIG", "/none"}, {"HB_MOX_SIM_LOG", "loud"}});
    EXPECT_EQ(0U, refused.errors.find("libqz_mox_sim: no cluster service is installed: HB_MOX_SIM_LOG is "
                                      "\"loud\"; expected debug, info, warning or error\n"))
        << refused.errors;
}

TEST(Cluster_Service_Refused, NoFileIsSaid) {
    EXPECT_EQ("libqz_mox_sim: no cluster service is installed: HB_MOX_SIM_CONFIG is not set; set it to the "
              "path of a cluster file\n"
              "cluster_events: the cluster service did not answer (none is installed) "
              "(HB_ERROR_CLUSTER_QUERY_FAILED, error 63)\n",
              run_with("cluster_events_example", {}).errors);
}

TEST(Cluster_Service_Refused, AControlSocketThatCannotBeMadeIsSaid) {
    const Temp_Dir directory;
    const std::string path = directory.file("cluster.toml");
    std::ofstream(path) << small_cluster_file();
    const Refused_Service refused =
        run_with("cluster_events_example",
                 {{"HB_MOX_SIM_CONFIG", path}, {"HB_MOX_SIM_CONTROL", directory.file("no/c")}});
    EXPECT_EQ(0U, refused.errors.find("libqz_mox_sim: no cluster service is installed: cannot bind " +
                                      directory.file("no/c") + ": No such file or directory\n"))
        << refused.errors;
}

TEST(Cluster_Service_Refused, AProgramThatIsNoClientGetsNeitherServiceNorMessage) {
    const Refused_Service none = run_with("wispctl", {{"HB_MOX_SIM_CONFIG", "/does/not/exist"}});
    EXPECT_EQ("", none.errors);
    EXPECT_EQ(0, none.exit_status);
}

} // namespace
} // namespace hb_test
