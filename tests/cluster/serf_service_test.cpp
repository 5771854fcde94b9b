// SPDX-License-Identifier: Apache-2.0
// A client in cluster-event mode over real Serf agents, without a daemon.
#include <algorithm>
#include <fstream>

#include <gmock/gmock.h>

#include "tests/cluster/serf_cluster.h"
#include "tests/cluster/serf_test.h"
#include "tests/cluster/service_on_host.h"

namespace hb_test {
namespace {

using testing::IsEmpty;
using testing::UnorderedElementsAre;

const std::set<unsigned> ALL_NODES = {1, 2, 3};
const std::set<unsigned> ALL_ADAPTERS = {48, 49, 96, 97, 144, 145};

class SerfServiceTest : public SerfTest {};

TEST_F(SerfServiceTest, AClientReceivesFailuresReturnsAndDeparturesOnce) {
    Serf_Cluster_Plan plan;
    plan.nodes = 3;
    plan.networks = 2;
    Serf_Agents agents(plan.nodes, plan.networks);
    agents.start_all();
    ASSERT_TRUE(agents.wait_all_alive()) << agents.account();
    std::ofstream(agents.places().outside(Serf_Agents::HOST, "/run/serf.toml")) << serf_cluster_file(plan, 1);
    Service_Client_On_Host client(agents.places(), Serf_Agents::HOST, "serf",
                                  {HB_TEST_BIN_DIR "/cluster_events_example"},
                                  {{"HB_MOX_SERF_CONFIG", "/run/serf.toml"}});
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();

    std::size_t mark = client.mark();
    agents.kill(2, 1);
    ASSERT_TRUE(client.wait_up(ALL_NODES, {48, 49, 96, 144, 145})) << client.account();
    agents.start(2, 1);
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    EXPECT_THAT(client.told_since(mark), UnorderedElementsAre("death adapter 97", "join adapter 97"));

    mark = client.mark();
    for (const int network : {0, 1}) {
        agents.leave(3, network);
    }
    ASSERT_TRUE(client.wait_up({1, 2}, {48, 49, 96, 97})) << client.account();
    for (const int network : {0, 1}) {
        agents.start(3, network);
    }
    ASSERT_TRUE(client.wait_up(ALL_NODES, ALL_ADAPTERS)) << client.account();
    const std::vector<std::string> received = client.told_since(mark);
    for (const char *once : {"death node 3", "join node 3", "death adapter 144", "join adapter 145"}) {
        EXPECT_EQ(1, std::count(received.begin(), received.end(), once)) << once << "\n" << client.account();
    }
    EXPECT_THAT(client.objections(), IsEmpty()) << client.account();
}

} // namespace
} // namespace hb_test
