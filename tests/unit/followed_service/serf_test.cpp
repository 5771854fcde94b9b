// SPDX-License-Identifier: Apache-2.0
// The cluster service over simulated Serf agents, used as the library uses it.
#include <cerrno>
#include <chrono>
#include <memory>
#include <vector>

#include <gmock/gmock.h>

#include "engine/serf/serf_access.h"
#include "tests/support/deadline.h"
#include "tests/support/serf_agent.h"
#include "tests/unit/followed_service/service_fixture.h"

namespace hb_test {
namespace {

constexpr int NODE = 0;
constexpr int ADAPTER = 1;
constexpr int RECONFIGURATION = 100;

class Serf_Service : public Followed_Service_Test {
  protected:
    // Agents of node n1, one for each network, which report members n1 to n<count>.
    void serve(int members, int networks = 1) {
        for (int network = 0; network < networks; ++network) {
            agents_.push_back(std::make_unique<Serf_Agent>(
                Serf_Agent_Plan{"n1", simulated_members(members, network), "", 0}));
            settings_.agents.push_back({network, "127.0.0.1", agents_.back()->port(), ""});
            settings_.cluster.networks.push_back(
                {static_cast<Hb_Network_Number>(network), "network" + std::to_string(network), "serf"});
        }
        settings_.cluster.name = "gossip";
        settings_.cluster.max_nodes = 100;
        settings_.cluster.adapters_per_node = wispd::ENGINE_ADAPTERS_PER_NODE;
        settings_.discover = true;
    }
    void start() { service_ = std::make_unique<mox_followed::Followed_Service>(wispd::follow_serf(settings_)); }

    // The next event of the monitor, read when it is ready.
    static std::string next(const Unique_Fd &monitor, int category) {
        std::string event = NOTHING;
        const Deadline deadline;
        while (event == NOTHING && wait_readable(monitor.get(), deadline)) {
            event = read(monitor, category);
        }
        return event;
    }
    // The events that the monitor holds now.
    static std::vector<std::string> rest(const Unique_Fd &monitor, int category) {
        std::vector<std::string> events;
        for (std::string event = read(monitor, category); event != NOTHING; event = read(monitor, category)) {
            events.push_back(event);
        }
        return events;
    }

    wispd::Serf_Settings settings_;
    std::vector<std::unique_ptr<Serf_Agent>> agents_;
};

TEST_F(Serf_Service, AProgramThatQueriesAtOnceReceivesTheCluster) {
    serve(3, 2);
    start();
    EXPECT_EQ(1, local_node());
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
    EXPECT_EQ("1 serf0 up, 1 serf1 up, 2 serf0 up, 2 serf1 up, 3 serf0 up, 3 serf1 up", interfaces());
}

TEST_F(Serf_Service, AMemberThatFailsAndReturnsDiesAndJoins) {
    serve(3);
    start();
    const Unique_Fd liveness = open("node_liveness");
    agents_[0]->change("member-failed", {"n3"});
    EXPECT_EQ("down 3", next(liveness, NODE));
    EXPECT_EQ("1 up, 2 up, 3 down", nodes());
    agents_[0]->change("member-join", {"n3"});
    EXPECT_EQ("up 3", next(liveness, NODE));
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
    EXPECT_EQ(NOTHING, read_node(liveness));
}

TEST_F(Serf_Service, AMemberThatLeavesInGoodOrderDiesToo) {
    serve(3);
    start();
    const Unique_Fd liveness = open("node_liveness");
    agents_[0]->change("member-leave", {"n2"});
    EXPECT_EQ("down 2", next(liveness, NODE));
    EXPECT_EQ(NOTHING, read_node(liveness));
}

TEST_F(Serf_Service, OneThatLeavesAndOneThatFailsInOneEventAreBothReported) {
    serve(4);
    start();
    const Unique_Fd liveness = open("node_liveness");
    std::vector<Simulated_Member> members = simulated_members(4);
    members[2].status = "failed";
    members[3].status = "left";
    agents_[0]->put("member-update", {members[2], members[3]});
    EXPECT_EQ("down 4", next(liveness, NODE));
    EXPECT_EQ("down 3", next(liveness, NODE));
    EXPECT_EQ("1 up, 2 up, 3 down, 4 down", nodes());
}

TEST_F(Serf_Service, AMemberThatIsBackBeforeTheProgramReadsHasNoJoinWithoutADeath) {
    serve(3);
    start();
    const Unique_Fd liveness = open("node_liveness");
    agents_[0]->change("member-failed", {"n3"});
    agents_[0]->change("member-join", {"n3"});
    EXPECT_THAT(rest(liveness, NODE),
                testing::AnyOf(testing::IsEmpty(), testing::ElementsAre("down 3", "up 3")));
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
}

TEST_F(Serf_Service, AnAdapterFailsWhileItsNodeStaysUpOnAnotherNetwork) {
    serve(2, 2);
    start();
    const Unique_Fd adapters = open("adapter_liveness");
    const Unique_Fd liveness = open("node_liveness");
    agents_[1]->change("member-failed", {"n2"});
    EXPECT_EQ("down 2 serf1", next(adapters, ADAPTER));
    agents_[1]->change("member-join", {"n2"});
    EXPECT_EQ("up 2 serf1", next(adapters, ADAPTER));
    EXPECT_EQ(NOTHING, read_node(liveness));
}

TEST_F(Serf_Service, ANewMemberIsANewConfiguration) {
    serve(2);
    start();
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    agents_[0]->put("member-join", {simulated_members(3)[2]});
    EXPECT_EQ("reconfiguration", next(reconfigurations, RECONFIGURATION));
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
    agents_[0]->change("member-failed", {"n3"});
    agents_[0]->change("member-reap", {"n3"});
    EXPECT_EQ("reconfiguration", next(reconfigurations, RECONFIGURATION));
    EXPECT_EQ("1 up, 2 up", nodes());
}

TEST_F(Serf_Service, AMonitorIsReadyWhenAnAgentHasNews) {
    serve(3);
    start();
    const Unique_Fd liveness = open("node_liveness");
    agents_[0]->change("member-failed", {"n2"});
    EXPECT_TRUE(wait_readable(liveness.get()));
}

// ---- Agents that end ----

TEST_F(Serf_Service, TheOtherNodesDieAfterTheGraceOfAnAgentThatEnded) {
    serve(3);
    settings_.grace = std::chrono::milliseconds(50);
    start();
    const Unique_Fd liveness = open("node_liveness");
    agents_[0]->refuse();
    agents_[0]->disconnect();
    EXPECT_EQ("down 2", next(liveness, NODE));
    EXPECT_EQ("down 3", next(liveness, NODE));
    EXPECT_EQ("1 up, 2 down, 3 down", nodes());
    agents_[0]->accept();
    EXPECT_EQ("up 2", next(liveness, NODE));
    EXPECT_EQ("up 3", next(liveness, NODE));
}

TEST_F(Serf_Service, AnAgentThatReturnsWithinTheGraceIsReportedAsTheChangesSince) {
    serve(3);
    settings_.grace = std::chrono::seconds(100);
    start();
    const Unique_Fd liveness = open("node_liveness");
    agents_[0]->refuse();
    agents_[0]->disconnect();
    std::vector<Simulated_Member> members = simulated_members(3);
    members[2].status = "failed";
    agents_[0]->set_members(members);
    EXPECT_EQ(NOTHING, read_node(liveness));
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
    agents_[0]->accept();
    EXPECT_EQ("down 3", next(liveness, NODE));
    EXPECT_THAT(rest(liveness, NODE), testing::IsEmpty());
}

TEST_F(Serf_Service, WithoutAnAgentQueriesFailUntilThereIsOne) {
    serve(3);
    agents_[0]->refuse();
    start();
    errno = 0;
    EXPECT_EQ(-1, local_node());
    EXPECT_EQ(ENOTCONN, errno);
    EXPECT_EQ("-1", nodes());
    agents_[0]->accept();
    EXPECT_TRUE(wait_until([] { return local_node() == 1; }));
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
}

TEST_F(Serf_Service, AnUnreachableAgentLeavesTheClusterOfTheOtherNetwork) {
    serve(2, 2);
    agents_[1]->refuse();
    start();
    EXPECT_EQ(1, local_node());
    EXPECT_EQ("1 up, 2 up", nodes());
    EXPECT_EQ("1 serf0 up, 2 serf0 up", interfaces());
}

// The descriptor is ready once a second for the counts. Between them it is not, so a client that waits on it sleeps.
TEST_F(Serf_Service, APollWithoutNewsReportsNothing) {
    serve(3);
    start();
    const Unique_Fd liveness = open("node_liveness");
    const unsigned asked = agents_[0]->requests("stats");
    EXPECT_TRUE(wait_until([&] {
        EXPECT_EQ(NOTHING, read_node(liveness));
        return agents_[0]->requests("stats") >= asked + 2;
    }));
    EXPECT_EQ("1 up, 2 up, 3 up", nodes());
}

} // namespace
} // namespace hb_test
