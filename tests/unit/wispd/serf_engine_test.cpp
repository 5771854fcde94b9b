// SPDX-License-Identifier: Apache-2.0
// The engine over simulated agents: what it reports to wispd, step by step.
#include <chrono>
#include <memory>
#include <poll.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/address.h"
#include "engine/serf/serf_engine.h"
#include "tests/support/deadline.h"
#include "tests/support/serf_agent.h"

namespace {

using namespace std::chrono_literals;
using hb_test::Deadline;
using hb_test::Serf_Agent;
using hb_test::simulated_members;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using wispd::Engine_Step;
using wispd::Serf_Engine;
using wispd::Serf_Settings;
using Time = wispd::Engine::Time;

constexpr int PER_NODE = 48;

class SerfEngine : public testing::Test {
  protected:
    // Members n1 to n<count> in each of the networks.
    void serve(int members, int networks = 1) {
        for (int network = 0; network < networks; ++network) {
            agents_.push_back(std::make_unique<Serf_Agent>(
                hb_test::Serf_Agent_Plan{"n1", simulated_members(members, network), "", 0}));
            settings_.agents.push_back({network, "127.0.0.1", agents_.back()->port(), ""});
            settings_.cluster.networks.push_back(
                {static_cast<Hb_Network_Number>(network), "network" + std::to_string(network), "serf"});
        }
        settings_.discover = true;
        settings_.cluster.max_nodes = 2049;
        settings_.cluster.adapters_per_node = PER_NODE;
    }
    void start() { engine_ = std::make_unique<Serf_Engine>(settings_); }

    // The next step; nothing if none came in time.
    std::optional<Engine_Step> next(const Deadline &deadline = Deadline()) {
        while (!deadline.over()) {
            if (std::optional<Engine_Step> step = engine_->advance(std::chrono::steady_clock::now())) {
                return step;
            }
            pollfd waiting{engine_->descriptor(), POLLIN, 0};
            poll(&waiting, 1, 50);
        }
        return std::nullopt;
    }
    template <typename Condition> bool advance_until(Condition condition) {
        const Deadline deadline;
        while (!condition() && !deadline.over()) {
            if (std::optional<Engine_Step> step = engine_->advance(std::chrono::steady_clock::now())) {
                steps_.push_back(std::move(*step));
            }
            pollfd waiting{engine_->descriptor(), POLLIN, 0};
            poll(&waiting, 1, 20);
        }
        return condition();
    }
    const wispd::Agent_Status &agent(std::size_t number) const { return engine_->status().agents.at(number); }

    Serf_Settings settings_;
    std::vector<std::unique_ptr<Serf_Agent>> agents_;
    std::unique_ptr<Serf_Engine> engine_;
    std::vector<Engine_Step> steps_;
};

TEST_F(SerfEngine, TheFirstStepIsTheMembersAsNodesAndAdapters) {
    serve(3, 2);
    start();
    const std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_EQ(step->configuration->local_node, 1);
    EXPECT_EQ(step->configuration->adapters_per_node, PER_NODE);
    ASSERT_THAT(step->configuration->nodes, SizeIs(3));
    EXPECT_EQ(step->configuration->nodes[2].name, "n3");
    EXPECT_THAT(step->configuration->nodes[2].adapters, SizeIs(2));
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 3));
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96, 97, 144, 145));
    EXPECT_TRUE(engine_->status().connected);
}

TEST_F(SerfEngine, TheFirstStepDoesNotWaitForAnAgentThatIsNotThere) {
    serve(2, 2);
    agents_[1]->refuse();
    start();
    std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 96));
    EXPECT_FALSE(engine_->status().connected);
    agents_[1]->accept();
    step = next();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96, 97));
}

TEST_F(SerfEngine, MembersThatFailTogetherAreOneStep) {
    serve(1500);
    start();
    ASSERT_TRUE(next());
    std::vector<std::string> names;
    for (int number = 2; number <= 1001; ++number) {
        names.push_back("n" + std::to_string(number));
    }
    agents_[0]->change("member-failed", names);
    const std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step);
    EXPECT_FALSE(step->configuration);
    EXPECT_FALSE(step->is_departure);
    EXPECT_THAT(step->liveness.nodes, SizeIs(500));
    EXPECT_EQ(*step->liveness.nodes.begin(), 1);
    EXPECT_EQ(*(step->liveness.nodes.begin() + 1), 1002);
}

TEST_F(SerfEngine, ANodeIsUpWhileOneOfItsAdaptersIs) {
    serve(2, 2);
    start();
    ASSERT_TRUE(next());
    agents_[0]->change("member-failed", {"n2"});
    std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2));
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 97));
    agents_[1]->change("member-failed", {"n2"});
    step = next();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1));
}

TEST_F(SerfEngine, MembersThatLeaveAreAStepOfTheirOwnBeforeThoseThatFail) {
    serve(5);
    start();
    ASSERT_TRUE(next());
    agents_[0]->change("member-leave", {"n2"});
    std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step);
    EXPECT_TRUE(step->is_departure);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 3, 4, 5));

    std::vector<hb_test::Simulated_Member> members = simulated_members(5);
    members[2].status = "failed";
    members[3].status = "left";
    agents_[0]->put("member-update", {members[2], members[3]});
    step = next();
    ASSERT_TRUE(step);
    EXPECT_TRUE(step->is_departure);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 3, 5));
    step = next();
    ASSERT_TRUE(step);
    EXPECT_FALSE(step->is_departure);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 5));
}

TEST_F(SerfEngine, ANewMemberAndAReapedOneAreConfigurations) {
    serve(2);
    start();
    ASSERT_TRUE(next());
    agents_[0]->put("member-join", {{"n7", "10.0.0.7", "alive", {}}});
    std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step && step->configuration);
    ASSERT_THAT(step->configuration->nodes, SizeIs(3));
    EXPECT_EQ(step->configuration->nodes[2].number, 7);
    EXPECT_EQ(wispd::address_text(step->configuration->nodes[2].adapters[0].address), "10.0.0.7");
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 7));
    agents_[0]->change("member-failed", {"n7"});
    step = next();
    ASSERT_TRUE(step);
    EXPECT_FALSE(step->configuration);
    agents_[0]->change("member-reap", {"n7"});
    step = next();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->configuration->nodes, SizeIs(2));
}

TEST_F(SerfEngine, AnAgentThatReturnsWithinTheGraceIsNoNews) {
    serve(3, 2);
    settings_.grace = 60s;
    start();
    ASSERT_TRUE(next());
    agents_[1]->refuse();
    ASSERT_TRUE(advance_until([&] { return !agent(1).connected && agent(1).attempts >= 2; }));
    EXPECT_THAT(agent(1).trouble, HasSubstr("127.0.0.1"));
    EXPECT_FALSE(engine_->status().connected);
    EXPECT_THAT(engine_->status().awaited, IsEmpty()); // their other adapters are reported
    agents_[1]->set_members(simulated_members(1, 1));  // it knows only itself at first
    agents_[1]->accept();
    ASSERT_TRUE(advance_until([&] { return agent(1).connected; }));
    agents_[1]->put("member-join", simulated_members(3, 1));
    ASSERT_TRUE(advance_until([&] { return agents_[1]->requests("stats") >= 3; }));
    EXPECT_THAT(steps_, IsEmpty());
}

TEST_F(SerfEngine, TheAdaptersOfAnAgentThatDoesNotReturnDieWithTheGrace) {
    serve(3, 2);
    settings_.grace = 300ms;
    start();
    ASSERT_TRUE(next());
    agents_[1]->refuse();
    std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 96, 144));
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 3));
    agents_[0]->refuse();
    step = next();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters, IsEmpty());
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1)); // wispd runs on it
    agents_[0]->accept();
    agents_[1]->accept();
    ASSERT_TRUE(advance_until([&] { return engine_->status().connected; }));
    EXPECT_THAT(steps_.back().liveness.adapters, SizeIs(6));
}

TEST_F(SerfEngine, AnAgentThatDoesNotAnswerIsSilentAndItsMembersAreAwaited) {
    serve(2);
    settings_.grace = 60s;
    start();
    ASSERT_TRUE(next());
    agents_[0]->stop_answering();
    ASSERT_TRUE(advance_until([&] { return engine_->status().silent; }));
    EXPECT_THAT(engine_->status().awaited, ElementsAre(1, 2));
    agents_[0]->continue_answering();
    ASSERT_TRUE(advance_until([&] { return engine_->status().connected; }));
    EXPECT_FALSE(engine_->status().silent);
    EXPECT_THAT(engine_->status().awaited, IsEmpty());
    EXPECT_THAT(steps_, IsEmpty());
}

TEST_F(SerfEngine, AnEventThatTheAgentLostIsFoundByItsCounts) {
    serve(3);
    start();
    ASSERT_TRUE(next());
    std::vector<hb_test::Simulated_Member> members = simulated_members(3);
    members[2].status = "failed";
    agents_[0]->set_members(members);
    const std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2));
}

TEST_F(SerfEngine, ADeathThatIsWithdrawnIsNoStepAndIsCounted) {
    serve(2);
    settings_.settle = 60s;
    start();
    ASSERT_TRUE(next());
    agents_[0]->change("member-failed", {"n2"});
    ASSERT_TRUE(advance_until([&] { return !engine_->status().settling.empty(); }));
    EXPECT_EQ(engine_->status().settling[0].first, 2);
    EXPECT_EQ(engine_->status().settling[0].second.held_now, 1);
    agents_[0]->change("member-join", {"n2"});
    ASSERT_TRUE(advance_until([&] { return engine_->status().settling[0].second.withdrawn == 1; }));
    EXPECT_EQ(engine_->status().settling[0].second.held_now, 0);
    EXPECT_THAT(steps_, IsEmpty());
}

TEST_F(SerfEngine, AMachineThatReplacesAnotherOneIsADeathAndAJoin) {
    serve(2);
    settings_.settle = 60s; // the death itself is held
    start();
    ASSERT_TRUE(next());
    agents_[0]->change("member-failed", {"n2"});
    agents_[0]->put("member-join", {{"other", "10.0.0.9", "alive", {{"hb_node", "2"}}}});
    const std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 96));
    EXPECT_THAT(step->liveness.adapters_back, ElementsAre(96));
    EXPECT_THAT(step->liveness.nodes_back, ElementsAre(2));
}

TEST_F(SerfEngine, RejectedMembersAreCounted) {
    serve(2);
    start();
    ASSERT_TRUE(next());
    agents_[0]->put("member-join",
                    {{"thief", "10.0.0.9", "alive", {{"hb_node", "2"}}}, {"nobody", "10.0.0.8", "alive", {}}});
    ASSERT_TRUE(advance_until([&] { return engine_->status().rejected_members == 2; }));
    EXPECT_THAT(engine_->status().rejections,
                ElementsAre(HasSubstr("nobody"), HasSubstr("thief: node 2 is already")));
    EXPECT_THAT(steps_, IsEmpty());
}

TEST_F(SerfEngine, ADescribedClusterHasTheNodesOfTheFile) {
    serve(3);
    settings_.discover = false;
    settings_.has_local_node = true;
    settings_.cluster.local_node = 1;
    settings_.cluster.nodes = {{1, "n1", {{}}}, {2, "n2", {{}}}};
    start();
    const std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->configuration->nodes, SizeIs(2));
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2));
    EXPECT_EQ(engine_->status().rejected_members, 1U); // n3
}

TEST_F(SerfEngine, NewSettingsApplyWhenTheAgentsHaveAnswered) {
    serve(3, 2);
    settings_.discover = false;
    settings_.has_local_node = true;
    settings_.cluster.local_node = 1;
    settings_.cluster.nodes = {{1, "n1", {{}}}, {2, "n2", {{}}}};
    start();
    ASSERT_TRUE(next());
    Serf_Settings more = settings_;
    more.cluster.nodes.push_back({3, "n3", {{}}});
    more.grace = 5s;
    engine_->set(more);
    std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->configuration->nodes, SizeIs(3));
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 3));
    EXPECT_EQ(engine_->grace(), 5s);

    Serf_Settings one_network = more;
    one_network.agents.pop_back();
    one_network.cluster.networks.pop_back();
    engine_->set(one_network);
    step = next();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 96, 144));
    EXPECT_THAT(engine_->status().agents, SizeIs(1));

    Serf_Settings other_node = one_network;
    other_node.cluster.local_node = 2;
    engine_->set(other_node);
    ASSERT_TRUE(advance_until([&] { return !engine_->status().refused.empty(); }));
    EXPECT_EQ(engine_->status().refused, "the local node's number changed from 1 to 2: restart wispd");
}

TEST_F(SerfEngine, AnAgentWhoseOwnMemberHasNoNumberIsRefused) {
    agents_.push_back(std::make_unique<Serf_Agent>(
        hb_test::Serf_Agent_Plan{"myself", {{"myself", "10.0.0.1", "alive", {}}}, "", 0}));
    settings_.agents.push_back({0, "127.0.0.1", agents_[0]->port(), ""});
    settings_.discover = true;
    settings_.cluster.max_nodes = 2049;
    settings_.cluster.adapters_per_node = PER_NODE;
    start();
    ASSERT_TRUE(advance_until([&] { return !engine_->status().refused.empty(); }));
    EXPECT_THAT(engine_->status().refused,
                HasSubstr("the agent's own member myself of network 0 is not a node (it has no tag"));
    EXPECT_THAT(steps_, IsEmpty());
}

// ---- Settings that change, in every order ----

TEST_F(SerfEngine, AnAgentWhoseAddressAndKeyChangeKeepsItsMembersForTheGrace) {
    serve(3);
    settings_.grace = 60s;
    start();
    ASSERT_TRUE(next());
    agents_.push_back(
        std::make_unique<Serf_Agent>(hb_test::Serf_Agent_Plan{"n1", simulated_members(3), "secret", 0}));
    Serf_Settings moved = settings_;
    moved.agents[0].port = agents_[1]->port();
    moved.agents[0].auth_key = "wrong";
    engine_->set(moved);
    ASSERT_TRUE(advance_until(
        [&] { return agent(0).trouble.find("rejected the authentication key") != std::string::npos; }));
    moved.agents[0].auth_key = "secret";
    engine_->set(moved);
    ASSERT_TRUE(advance_until([&] { return agent(0).connected && agent(0).address == agents_[1]->address(); }));
    ASSERT_THAT(steps_, Not(IsEmpty())); // the configurations
    for (const Engine_Step &step : steps_) {
        EXPECT_THAT(step.liveness.adapters, ElementsAre(48, 96, 144));
    }
}

TEST_F(SerfEngine, AnAgentThatEndsWhileNewSettingsWaitDiesWithTheGrace) {
    serve(3, 2);
    settings_.grace = 500ms;
    start();
    ASSERT_TRUE(next());
    agents_[1]->stop_answering();
    engine_->set(settings_);
    ASSERT_TRUE(advance_until([&] { return agents_[0]->requests("members") == 2; }));
    agents_[0]->refuse();
    ASSERT_TRUE(advance_until([&] { return !steps_.empty() && steps_.back().liveness.adapters.empty(); }));
    EXPECT_THAT(engine_->status().awaited, IsEmpty());
}

TEST_F(SerfEngine, AnEventWhileNewSettingsWaitIsNotUndone) {
    serve(3, 2);
    settings_.grace = 60s;
    start();
    ASSERT_TRUE(next());
    agents_[1]->stop_answering();
    engine_->set(settings_);
    ASSERT_TRUE(advance_until([&] { return agents_[0]->requests("members") == 2; }));
    agents_[0]->change("member-failed", {"n2"});
    ASSERT_TRUE(advance_until([&] { return !steps_.empty(); }));
    EXPECT_FALSE(steps_.back().liveness.adapters.contains(96));
    agents_[1]->continue_answering();
    const std::size_t before = steps_.size();
    ASSERT_TRUE(advance_until([&] { return steps_.size() > before; })); // the configuration
    for (const Engine_Step &step : steps_) {
        EXPECT_FALSE(step.liveness.adapters.contains(96));
    }
}

TEST_F(SerfEngine, NumbersThatAReloadExchangesAreDeathsAndJoins) {
    agents_.push_back(std::make_unique<Serf_Agent>(
        hb_test::Serf_Agent_Plan{"a", {{"a", "10.0.0.1"}, {"b", "10.0.0.2"}, {"c", "10.0.0.3"}}, "", 0}));
    settings_.agents.push_back({0, "127.0.0.1", agents_[0]->port(), ""});
    settings_.has_local_node = true;
    settings_.cluster.max_nodes = 2049;
    settings_.cluster.adapters_per_node = PER_NODE;
    settings_.cluster.local_node = 1;
    settings_.cluster.nodes = {{1, "a", {{}}}, {2, "b", {{}}}, {3, "c", {{}}}};
    start();
    ASSERT_TRUE(next());
    std::swap(settings_.cluster.nodes[1].name, settings_.cluster.nodes[2].name);
    engine_->set(settings_);
    const std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->liveness.adapters_back, ElementsAre(96, 144));
    EXPECT_THAT(step->liveness.nodes_back, ElementsAre(2, 3));
}

TEST_F(SerfEngine, AReloadCountsNoRejectionAgain) {
    serve(2);
    agents_[0]->put("member-join", {{"nobody", "10.0.0.8", "alive", {}}});
    start();
    ASSERT_TRUE(next());
    EXPECT_EQ(engine_->status().rejected_members, 1U);
    engine_->set(settings_);
    const std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_EQ(engine_->status().rejected_members, 1U);
}

// ---- Agents that end at odd moments ----

TEST_F(SerfEngine, AnAgentThatEndsBetweenItsEventsAndItsListDiesWithTheGrace) {
    serve(3);
    settings_.grace = 1500ms;
    start();
    ASSERT_TRUE(next());
    agents_[0]->refuse();
    ASSERT_TRUE(advance_until([&] { return !agent(0).connected; }));
    agents_[0]->cut("members", 0);
    agents_[0]->trickle(100us); // so that events arrive before the cut
    agents_[0]->accept();
    ASSERT_TRUE(advance_until([&] {
        if (agents_[0]->streams() > 0) {
            agents_[0]->send_event("member-join", simulated_members(3));
        }
        return agents_[0]->requests("members") >= 2 &&
               agent(0).trouble.find("disconnected") != std::string::npos;
    }));
    agents_[0]->refuse();
    ASSERT_TRUE(advance_until([&] { return !steps_.empty() && steps_.back().liveness.adapters.empty(); }));
}

TEST_F(SerfEngine, AnEngineWithoutAgentsWaitsWithoutWork) {
    serve(2);
    agents_[0]->refuse();
    start();
    EXPECT_FALSE(engine_->advance(std::chrono::steady_clock::now()));
    ASSERT_TRUE(advance_until([&] { return agent(0).attempts >= 5; })); // retried once a second now
    int turns = 0;
    const unsigned attempts = agent(0).attempts;
    const Deadline deadline;
    while (agent(0).attempts < attempts + 2 && !deadline.over()) {
        engine_->advance(std::chrono::steady_clock::now());
        ++turns;
        pollfd waiting{engine_->descriptor(), POLLIN, 0};
        poll(&waiting, 1, -1);
    }
    EXPECT_LT(turns, 50);
}

TEST_F(SerfEngine, AMachineThatWasReplacedBeforeTheStartIsNoNews) {
    serve(2);
    agents_[0]->put("member-join", {{"old3", "10.0.0.3", "failed", {{"hb_node", "3"}}},
                                    {"new3", "10.0.0.4", "alive", {{"hb_node", "3"}}}});
    start();
    ASSERT_TRUE(next());
    agents_[0]->change("member-failed", {"n2"});
    const std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters_back, IsEmpty());
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 3));
}

TEST_F(SerfEngine, AnotherNumberOfTheOwnMemberIsAnErrorAndChangesNothing) {
    serve(3);
    start();
    ASSERT_TRUE(next());
    agents_[0]->put("member-update", {{"n1", "10.0.0.1", "alive", {{"hb_node", "9"}}}});
    ASSERT_TRUE(advance_until([&] { return !engine_->status().refused.empty(); }));
    EXPECT_THAT(engine_->status().refused, HasSubstr("has the number 9, but the local node is 1"));
    for (const Engine_Step &step : steps_) {
        EXPECT_THAT(step.liveness.nodes, ElementsAre(1, 2, 3));
    }
    agents_[0]->put("member-update", {{"n1", "10.0.0.1", "alive", {{"hb_node", "1"}}}});
    ASSERT_TRUE(advance_until([&] { return engine_->status().refused.empty(); }));
}

// A sanitizer on a busy machine needs more than the time that an agent has for an answer.
#if defined(HB_ADDRESS_SANITIZER)
constexpr int MOST_MEMBERS = 256;
#else
constexpr int MOST_MEMBERS = 2048;
#endif

TEST_F(SerfEngine, TheLargestClusterIsReportedAtOnce) {
    serve(MOST_MEMBERS, 48);
    start();
    const std::optional<Engine_Step> step = next();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->configuration->nodes, SizeIs(MOST_MEMBERS));
    EXPECT_THAT(step->liveness.adapters, SizeIs(MOST_MEMBERS * 48));
}

} // namespace
