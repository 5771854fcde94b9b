// SPDX-License-Identifier: Apache-2.0
// The engine in the daemon's event loop. A separate thread queries it.
#include <asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "engine/engine_source.h"
#include "tests/unit/wispd/fake_corosync.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using wispd::Corosync_Follower;
using wispd::Corosync_Settings;
using wispd::Engine_Source;
using wispd::Engine_Step;
using wispd_test::Fake_Cluster;
using wispd_test::Fake_Corosync;
using wispd_test::Fake_Interfaces;

class WispdEngineSource : public testing::Test {
  protected:
    std::unique_ptr<wispd::Engine> follower() {
        return std::make_unique<Corosync_Follower>(
            settings_, [this] { return std::make_unique<Fake_Corosync>(*cluster_); },
            std::make_unique<Fake_Interfaces>(cables_));
    }

    void begin() {
        std::unique_ptr<wispd::Engine> made = follower();
        const Engine_Step first = wispd::await_engine(made);
        source_.emplace(context_, std::move(made), first, [this](const Engine_Step &step) {
            steps_.push_back(step);
            loop_ = std::this_thread::get_id();
        });
    }

    // Runs the loop until the condition holds.
    template <typename Condition> bool run_until(Condition condition) {
        const auto until = std::chrono::steady_clock::now() + 60s;
        while (!condition() && std::chrono::steady_clock::now() < until) {
            context_.restart();
            context_.run_for(20ms);
        }
        return condition();
    }

    // Changes the engine's state between two of its answers.
    template <typename Change> void change(Change make) {
        const std::lock_guard lock(cluster_->mutex);
        make(*cluster_);
    }

    asio::io_context context_;
    Corosync_Settings settings_{{}, {20ms, 3s}};
    std::unique_ptr<Fake_Cluster> cluster_ = Fake_Cluster::of_three();
    Fake_Interfaces::Cables cables_;
    std::vector<Engine_Step> steps_;
    std::thread::id loop_;
    std::optional<Engine_Source> source_;
};

TEST_F(WispdEngineSource, WhatTheEngineTellsArrivesInTheLoopsThread) {
    begin();
    change([](Fake_Cluster &cluster) { cluster.tell_members({{1, 1}, {2, 1}}); });
    ASSERT_TRUE(run_until([this] { return !steps_.empty(); }));
    EXPECT_THAT(steps_[0].liveness.nodes, ElementsAre(1, 2));
    EXPECT_TRUE(loop_ == std::this_thread::get_id());
    EXPECT_TRUE(source_->status().connected);
}

TEST_F(WispdEngineSource, NewSettingsAreTakenOver) {
    begin();
    settings_.names.networks[1] = "backup";
    source_->set(settings_);
    ASSERT_TRUE(run_until([this] { return !steps_.empty(); }));
    ASSERT_TRUE(steps_[0].configuration);
    EXPECT_EQ(steps_[0].configuration->networks[1].name, "backup");
}

TEST_F(WispdEngineSource, AnEngineThatIsHeldUpKeepsNobodyWaitingAndIsGivenUpAfterTheGrace) {
    begin();
    {
        const std::unique_lock held(cluster_->mutex); // the engine does not answer
        ASSERT_TRUE(run_until([this] { return source_->status().silent; }));
        ASSERT_TRUE(run_until([this] { return !steps_.empty(); }));
        EXPECT_THAT(steps_[0].liveness.nodes, ElementsAre(1));
        EXPECT_THAT(steps_[0].liveness.adapters, ElementsAre(48, 49));
    }
    ASSERT_TRUE(run_until([this] { return steps_.size() == 2; }));
    EXPECT_THAT(steps_[1].liveness.nodes, ElementsAre(1, 2, 3));
    EXPECT_THAT(steps_[1].liveness.adapters, ElementsAre(48, 49, 96, 97, 144, 145));
    EXPECT_FALSE(steps_[1].configuration);
    EXPECT_TRUE(run_until([this] { return !source_->status().silent; }));
}

TEST_F(WispdEngineSource, TheEndDoesNotWaitForAnEngineThatIsHeldUp) {
    settings_.patience.grace = 1h;
    begin();
    std::unique_lock held(cluster_->mutex);
    ASSERT_TRUE(run_until([this] { return source_->status().silent; }));
    source_.reset();
    held.unlock();
    // The abandoned thread ends when the engine answers, and releases everything that it used.
    EXPECT_TRUE(run_until([this] {
        const std::lock_guard lock(cluster_->mutex);
        return cluster_->connections_open == 0;
    }));
    EXPECT_TRUE(steps_.empty());
}

// ---- The start ----

class WispdEngineStart : public WispdEngineSource {
  protected:
    std::string failure() {
        std::unique_ptr<wispd::Engine> made = follower();
        try {
            wispd::await_engine(made);
        } catch (const std::runtime_error &error) {
            return error.what();
        }
        return "none";
    }
};

TEST_F(WispdEngineStart, AnEngineThatDoesNotRunIsWaitedForAsLongAsTheGrace) {
    settings_.patience.grace = 200ms;
    cluster_->runs = false;
    EXPECT_EQ(failure(), "it does not run; start Corosync, or read its log");
    EXPECT_GT(cluster_->connections, 1);
}

TEST_F(WispdEngineStart, AnEngineThatIsHeldUpIsNotWaitedForLonger) {
    settings_.patience.grace = 0ms;
    {
        const std::unique_lock held(cluster_->mutex);
        EXPECT_EQ(failure(), "Corosync is running but does not respond; find out what blocks it");
    }
    // The abandoned thread ends when the engine answers, and releases everything that it used.
    EXPECT_TRUE(run_until([this] {
        const std::lock_guard lock(cluster_->mutex);
        return cluster_->connections == 1 && cluster_->connections_open == 0;
    }));
}

TEST_F(WispdEngineStart, AConfigurationThatCannotBeTakenEndsItAtOnce) {
    settings_.patience.grace = 1h;
    cluster_->configuration.nodes[2].id = 3000;
    EXPECT_EQ(failure(), "cannot use Corosync's configuration: Corosync node 3000 has no number: IDs "
                         "above 2048 need one in a [[source.node]] of wispd's configuration file");
}

} // namespace
