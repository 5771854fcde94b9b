// SPDX-License-Identifier: Apache-2.0
// Tests the rules of the replay: each of them can be violated.
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "tests/unit/replay_storm/replay.h"
#include "tests/unit/replay_storm/step.h"

namespace hb_test::replay_storm {
namespace {

const Adapter_Id ETH0{2, "eth0", std::string(16, 'a')};
const Adapter_Id MOVED{2, "eth0", std::string(16, 'b')};

Delivered of_node(int events, int node) {
    return {events, true, {node}, {}};
}
Delivered of_adapter(int events, const Adapter_Id &adapter) {
    return {events, false, {}, {{96, adapter}}};
}

class Replay_Rules : public testing::Test {
  protected:
    // Nodes 1 and 2 and the adapter are up, and the client has received that.
    Replay_Rules() {
        state_.configuration = {1, {1, 2}, {{96, ETH0}}};
        state_.nodes_up = {1, 2};
        state_.adapters_up = {ETH0};
        replay_.start(state_.configuration);
        replay_.possible(state_);
        replay_.take({4, true, {1, 2}, {}});
        replay_.take(of_adapter(4, ETH0));
        replay_.compare(state_, state_.configuration);
    }
    void node_2_dies() {
        state_.nodes_up = {1};
        replay_.possible(state_);
    }
    static std::string broken(const std::function<void()> &call) {
        try {
            call();
        } catch (const Violation &violation) {
            return violation.rule();
        }
        return "none";
    }
    std::string broken_by(const Delivered &event) {
        return broken([&] { replay_.take(event); });
    }
    std::string broken_at_rest() {
        return broken([&] { replay_.compare(state_, state_.configuration); });
    }

    Cluster_State state_;
    Replay replay_;
};

TEST_F(Replay_Rules, WhatHappenedAndIsReportedOnceBreaksNone) {
    node_2_dies();
    EXPECT_EQ("none", broken_by(of_node(1, 2)));
    EXPECT_EQ("none", broken_at_rest());
}

TEST_F(Replay_Rules, ADeathThatIsNotReportedIsLost) {
    node_2_dies();
    EXPECT_EQ("node death lost", broken_at_rest());
}

TEST_F(Replay_Rules, AJoinThatIsNotReportedIsLost) {
    node_2_dies();
    replay_.take(of_node(1, 2));
    state_.nodes_up = {1, 2};
    replay_.possible(state_);
    EXPECT_EQ("node join lost", broken_at_rest());
}

TEST_F(Replay_Rules, ADeathThatIsReportedTwiceContradictsTheFirst) {
    node_2_dies();
    replay_.take(of_node(1, 2));
    EXPECT_EQ("node death of what is not up", broken_by(of_node(1, 2)));
}

TEST_F(Replay_Rules, AJoinNeedsADeathBeforeIt) {
    EXPECT_EQ("adapter join of what is up", broken_by(of_adapter(2, ETH0)));
}

TEST_F(Replay_Rules, ADeathNeedsACause) {
    EXPECT_EQ("node death without a cause", broken_by(of_node(1, 1)));
    EXPECT_EQ("adapter death without a cause", broken_by(of_adapter(1, ETH0)));
}

TEST_F(Replay_Rules, APeersDeathIsACauseUntilItIsBack) {
    replay_.read(QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS, QZ_ORB_EVENT_DOWN, 2);
    EXPECT_EQ("none", broken_by(of_node(1, 2)));
    EXPECT_EQ("none", broken_at_rest());
    replay_.read(QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS, QZ_ORB_EVENT_UP, 2);
    EXPECT_EQ("node join lost", broken_at_rest());
}

TEST_F(Replay_Rules, AnEventNamesOnlyWhatIsConfigured) {
    EXPECT_EQ("event names what is not configured", broken_by(of_node(1, 7)));
    EXPECT_EQ("event names what is not configured", broken_by({1, false, {}, {{777, std::nullopt}}}));
}

TEST_F(Replay_Rules, AnAdapterDiesBeforeItLeaves) {
    Configuration without = state_.configuration;
    without.adapters = {{96, MOVED}};
    EXPECT_EQ("adapter left while reported up", broken([&] { replay_.take_configuration(without); }));
}

TEST_F(Replay_Rules, AnAccountSaysWhatTheEventsSaid) {
    EXPECT_EQ("node account differs from the events", broken_by(of_node(4, 1)));
}

TEST_F(Replay_Rules, TheQueriesSayWhatIsConfigured) {
    Configuration other = state_.configuration;
    other.local_node = 2;
    EXPECT_EQ("configuration differs", broken([&] { replay_.compare(state_, other); }));
}

TEST(Replay_Steps, AScriptCanBeWrittenDownAndRunAgain) {
    const std::string text = "read.1.2.3 engine_returns.0.0.63";
    EXPECT_EQ(text, text_of(steps_of(text)));
    EXPECT_EQ("node_down.5.0.0", text_of(steps_of("node_down.5")));
    EXPECT_THROW(steps_of("node_sleeps.1"), std::invalid_argument);
}

} // namespace
} // namespace hb_test::replay_storm
