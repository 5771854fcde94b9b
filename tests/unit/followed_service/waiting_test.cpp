// SPDX-License-Identifier: Apache-2.0
// The cluster service over an engine that connects without waiting: which calls wait for its cluster, and for how
// long.
#include <cerrno>
#include <chrono>
#include <optional>

#include "engine/wait_point.h"
#include "tests/support/deadline.h"
#include "tests/unit/followed_service/service_fixture.h"

namespace hb_test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct Late_Engine_Plan {
    std::optional<std::chrono::milliseconds> answers_after; // since the first poll; empty: never
    std::chrono::milliseconds time_to_connect{0};
    int polls = 0;
};

// Nodes 1 and 2 with one adapter each, both up.
class Late_Engine final : public wispd::Engine {
  public:
    explicit Late_Engine(Late_Engine_Plan &plan) : plan_(plan) {}

    wispd::Engine_Name name() const override { return {"late", "Late"}; }
    int descriptor() const override { return wait_point_.descriptor(); }
    const wispd::Engine_Status &status() const override { return status_; }
    std::chrono::milliseconds grace() const override { return 10s; }
    std::chrono::milliseconds time_to_connect() const override { return plan_.time_to_connect; }
    void set(const wispd::Engine_Settings &) override {}

    std::optional<wispd::Engine_Step> advance(Time now) override {
        ++plan_.polls;
        if (!started_) {
            started_ = now;
        }
        if (status_.connected || !plan_.answers_after || now < *started_ + *plan_.answers_after) {
            wait_point_.wake_at(plan_.answers_after && !status_.connected ? *started_ + *plan_.answers_after
                                                                          : now + 1h);
            return std::nullopt;
        }
        wait_point_.wake_at(now + 1h);
        status_.connected = true;
        return wispd::Engine_Step{configuration(), {{1, 2}, {2, 4}, {}, {}}};
    }

  private:
    static wispd::Configuration configuration() {
        wispd::Configuration configuration;
        configuration.name = "late";
        configuration.local_node = 1;
        configuration.max_nodes = 4;
        configuration.adapters_per_node = 2;
        configuration.networks = {{0, "network", "late"}};
        for (const int number : {1, 2}) {
            wispd::Configured_Node node;
            node.number = static_cast<Hb_Node_Number>(number);
            node.name = "node" + std::to_string(number);
            node.adapters.emplace_back();
            configuration.nodes.push_back(node);
        }
        return configuration;
    }

    Late_Engine_Plan &plan_;
    std::optional<Time> started_;
    wispd::Wait_Point wait_point_;
    wispd::Engine_Status status_;
};

class Waiting_For_An_Engine : public Followed_Service_Test {
  protected:
    ~Waiting_For_An_Engine() override { stop(); }
    void start(std::optional<std::chrono::milliseconds> answers_after,
               std::chrono::milliseconds time_to_connect) {
        plan_.answers_after = answers_after;
        plan_.time_to_connect = time_to_connect;
        service_ = std::make_unique<mox_followed::Followed_Service>(std::make_unique<Late_Engine>(plan_));
    }

    Late_Engine_Plan plan_;
};

TEST_F(Waiting_For_An_Engine, TheFirstQueryOfAProgramReceivesTheCluster) {
    start(50ms, 60s);
    EXPECT_EQ(1, local_node());
    EXPECT_EQ("1 up, 2 up", nodes());
}

TEST_F(Waiting_For_An_Engine, AListWithoutTheClusterItselfWaitsToo) {
    start(50ms, 60s);
    EXPECT_EQ("1 net0 up, 2 net0 up", interfaces());
}

TEST_F(Waiting_For_An_Engine, TheFirstMonitorWaitsSoThatTheClusterIsNoEventOnIt) {
    start(50ms, 60s);
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    EXPECT_EQ("1 up, 2 up", nodes());
    EXPECT_EQ(NOTHING, read_reconfiguration(reconfigurations));
}

TEST_F(Waiting_For_An_Engine, AnEngineThatConnectsInItsFirstPollIsNotWaitedFor) {
    start(std::nullopt, 0s);
    errno = 0;
    EXPECT_EQ(-1, local_node());
    EXPECT_EQ(ENOTCONN, errno);
    EXPECT_EQ(2, plan_.polls); // those of every complete reading
}

TEST_F(Waiting_For_An_Engine, AQueryFailsWhenTheTimeToConnectIsOver) {
    start(std::nullopt, 50ms);
    const Clock::time_point begin = Clock::now();
    errno = 0;
    EXPECT_EQ(-1, local_node());
    EXPECT_EQ(ENOTCONN, errno);
    EXPECT_GE(Clock::now() - begin, 50ms);
}

TEST_F(Waiting_For_An_Engine, QueriesAfterAWaitInVainFailAtOnceUntilThatTimeHasPassedAgain) {
    start(std::nullopt, 1s);
    EXPECT_EQ("-1", nodes());
    const int polls = plan_.polls;
    EXPECT_EQ("-1", nodes());
    EXPECT_EQ("-1", interfaces());
    EXPECT_EQ(polls + 2, plan_.polls);
    plan_.answers_after = 1h;
    std::optional<Clock::duration> longest;
    EXPECT_TRUE(wait_until([&] {
        const Clock::time_point begin = Clock::now();
        nodes();
        longest = Clock::now() - begin;
        return *longest >= 1s;
    }));
}

TEST_F(Waiting_For_An_Engine, ItsClusterIsReportedOnAnOpenMonitorWhenItAnswersLater) {
    start(std::nullopt, 20ms);
    const Unique_Fd reconfigurations = open("cluster_reconfig");
    EXPECT_EQ(NOTHING, read_reconfiguration(reconfigurations));
    plan_.answers_after = 0s;
    EXPECT_EQ("reconfiguration", read_reconfiguration(reconfigurations));
    EXPECT_EQ("1 up, 2 up", nodes());
}

TEST_F(Waiting_For_An_Engine, ReadingAnEventNeverWaits) {
    start(std::nullopt, 20ms);
    const Unique_Fd liveness = open("node_liveness");
    plan_.time_to_connect = 1h;
    EXPECT_EQ(NOTHING, read_node(liveness));
}

} // namespace
} // namespace hb_test
