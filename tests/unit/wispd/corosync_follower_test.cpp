// SPDX-License-Identifier: Apache-2.0
// Following an engine: what is reported about it, and when.
#include <poll.h>

#include <gmock/gmock.h>

#include "engine/corosync/corosync_follower.h"
#include "tests/unit/wispd/fake_corosync.h"
#include "tests/unit/wispd/log_fixture.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using wispd::Corosync_Follower;
using wispd::Engine_Step;
using wispd_test::Fake_Cluster;
using wispd_test::Fake_Corosync;
using wispd_test::Fake_Interfaces;

class WispdEngineFollower : public wispd_test::WispdLogged {
  protected:
    // The test controls the time; only the descriptor uses the real clock.
    std::optional<Engine_Step> advance(std::chrono::milliseconds by = 0ms) {
        now_ += by;
        return follower_.advance(now_);
    }

    bool is_readable(std::chrono::milliseconds within = 0ms) const {
        pollfd waiting{follower_.descriptor(), POLLIN, 0};
        return poll(&waiting, 1, static_cast<int>(within.count())) == 1;
    }

    std::unique_ptr<Fake_Cluster> cluster_ = Fake_Cluster::of_three();
    Fake_Interfaces::Cables cables_;
    wispd::Corosync_Settings settings_{{}, {100ms, 10s}};
    Corosync_Follower::Time now_ = std::chrono::steady_clock::now();
    Corosync_Follower follower_{settings_, [this] { return std::make_unique<Fake_Corosync>(*cluster_); },
                                std::make_unique<Fake_Interfaces>(cables_)};
};

TEST_F(WispdEngineFollower, TheFirstStepIsTheWholeCluster) {
    EXPECT_TRUE(is_readable());
    const std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    ASSERT_TRUE(step->configuration);
    EXPECT_EQ(step->configuration->name, "test");
    EXPECT_EQ(step->configuration->local_node, 1);
    ASSERT_EQ(step->configuration->nodes.size(), 3u);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 3));
    // 48 times the node, plus the link.
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96, 97, 144, 145));
    EXPECT_THAT(step->liveness.nodes_back, IsEmpty());
    EXPECT_TRUE(follower_.status().connected);
    EXPECT_FALSE(advance());
}

TEST_F(WispdEngineFollower, NothingIsReadableUntilTheNextLook) {
    advance();
    EXPECT_FALSE(is_readable());
    EXPECT_TRUE(is_readable(5s)); // a tenth of a second later
    cluster_->bell.ring();
    EXPECT_TRUE(is_readable());
}

TEST_F(WispdEngineFollower, AMemberThatLeavesAndOneThatJoinsAreTold) {
    advance();
    cluster_->tell_members({{1, 1}, {2, 1}});
    EXPECT_TRUE(is_readable());
    std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    EXPECT_FALSE(step->configuration);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2));
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 2}});
    step = advance();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 3));
    EXPECT_THAT(step->liveness.nodes_back, IsEmpty()); // its leaving was seen
    EXPECT_EQ(step->liveness.incarnations.at(3), 2u);
}

TEST_F(WispdEngineFollower, AMemberThatIsAnotherThanBeforeWentAndCameBackOnce) {
    advance();
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 2}});
    std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes_back, ElementsAre(3));
    step = advance(); // its links
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes_back, IsEmpty());
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 2}});
    EXPECT_FALSE(advance());
    EXPECT_FALSE(advance());
}

TEST_F(WispdEngineFollower, LinksAreLookedAtOnceInAnInterval) {
    advance();
    EXPECT_EQ(cluster_->looks_at_links, 1);
    cluster_->links[{3, 1}] = {false, 1};
    EXPECT_FALSE(advance(99ms));
    EXPECT_EQ(cluster_->looks_at_links, 1);
    const std::optional<Engine_Step> step = advance(1ms);
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96, 97, 144));
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 3));
}

TEST_F(WispdEngineFollower, ADeathIsToldBeforeTheLinksAreLookedAtAndTheseAtOnceAfterIt) {
    advance();
    cluster_->links[{2, 1}] = {false, 1};
    cluster_->tell_members({{1, 1}, {2, 1}});
    std::optional<Engine_Step> step = advance(100ms);
    ASSERT_TRUE(step);
    EXPECT_EQ(cluster_->looks_at_links, 1);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2));
    EXPECT_TRUE(step->liveness.adapters.contains(97));
    step = advance();
    ASSERT_TRUE(step);
    EXPECT_EQ(cluster_->looks_at_links, 2);
    EXPECT_FALSE(step->liveness.adapters.contains(97));
}

TEST_F(WispdEngineFollower, AJoinIsToldWithTheLinksThatWereSeenBeforeAnythingIsAsked) {
    cluster_->members = {{1, 1}, {2, 1}};
    advance();
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 4}});
    const std::optional<Engine_Step> step = advance(100ms);
    ASSERT_TRUE(step);
    EXPECT_EQ(cluster_->looks_at_links, 1);
    EXPECT_EQ(cluster_->counts_of_joins, 0);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 3));
    EXPECT_TRUE(step->liveness.adapters.contains(144));
    EXPECT_FALSE(advance());
    EXPECT_EQ(cluster_->looks_at_links, 2);
    EXPECT_EQ(cluster_->counts_of_joins, 1);
}

TEST_F(WispdEngineFollower, AnEngineThatCountsMoreJoinsThanItToldOfTellsNothingByThat) {
    cluster_->members = {{1, 1}, {2, 1}};
    advance();
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 2}});
    cluster_->counted = {{1, 1}, {2, 1}, {3, 4}};
    EXPECT_TRUE(advance());
    EXPECT_FALSE(advance());
    EXPECT_EQ(cluster_->counts_of_joins, 1);
    EXPECT_FALSE(advance(100ms));
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 5}}); // counts continue from there
    const std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes_back, ElementsAre(3));
}

TEST_F(WispdEngineFollower, TheLinksOfOneThatWentAndCameBackAreThoseThatAreSeenAfterwards) {
    advance();
    cluster_->links[{3, 0}] = {true, 1};
    cluster_->links[{3, 1}] = {false, 1};
    cluster_->tell_members({{1, 1}, {3, 2}}); // while another node leaves
    std::optional<Engine_Step> step = advance(100ms);
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 3));
    EXPECT_THAT(step->liveness.nodes_back, ElementsAre(3));
    EXPECT_FALSE(step->liveness.adapters.contains(144));
    step = advance();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes_back, IsEmpty());
    EXPECT_THAT(step->liveness.adapters_back, IsEmpty()); // they died with the node
    EXPECT_TRUE(step->liveness.adapters.contains(144));
    EXPECT_FALSE(step->liveness.adapters.contains(145));
    EXPECT_FALSE(advance(100ms));
}

TEST_F(WispdEngineFollower, ALinkThatFellBetweenTwoLooksWentAndCameBackOnce) {
    advance();
    cluster_->links[{2, 0}] = {true, 1};
    const std::optional<Engine_Step> step = advance(100ms);
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters_back, ElementsAre(96));
    EXPECT_FALSE(advance(100ms));
}

TEST_F(WispdEngineFollower, ALinkThatIsDownAndFallsAgainIsNoNews) {
    cluster_->links[{2, 0}] = {false, 1};
    advance();
    cluster_->links[{2, 0}] = {false, 2};
    EXPECT_FALSE(advance(100ms));
    cluster_->links[{2, 0}] = {true, 2};
    const std::optional<Engine_Step> step = advance(100ms);
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters_back, IsEmpty());
}

// As when an administrator clears the engine's statistics.
TEST_F(WispdEngineFollower, CountsThatBeginAnewAreNoNews) {
    cluster_->links[{2, 0}] = {true, 5};
    cluster_->members[3] = 4;
    advance();
    cluster_->links[{2, 0}] = {true, 0};
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 0}});
    EXPECT_FALSE(advance(100ms));
    EXPECT_FALSE(advance());
    cluster_->links[{2, 0}] = {true, 1};
    const std::optional<Engine_Step> step = advance(100ms);
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters_back, ElementsAre(96));
    EXPECT_THAT(step->liveness.nodes_back, IsEmpty());
}

TEST_F(WispdEngineFollower, TheLocalAdaptersGoByTheInterfaces) {
    advance();
    cables_.cut["10.2.0.1"] = true;
    cables_.bell.ring();
    EXPECT_TRUE(is_readable());
    std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 96, 97, 144, 145));
    cables_.cut.clear();
    step = advance();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96, 97, 144, 145));
}

// ---- Configuration ----

TEST_F(WispdEngineFollower, AReloadIsTakenOverOnceAlsoWhenNothingChanged) {
    advance();
    cluster_->configuration.nodes.push_back({4, "", {{0, "10.1.0.4"}}});
    cluster_->tell_reload();
    std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step && step->configuration);
    ASSERT_EQ(step->configuration->nodes.size(), 4u);
    EXPECT_EQ(step->configuration->nodes[3].name, "node4");
    EXPECT_FALSE(advance());
    cluster_->tell_reload();
    step = advance();
    EXPECT_TRUE(step && step->configuration);
}

TEST_F(WispdEngineFollower, AReloadAndWhoJoinedWithItAreOneStep) {
    advance();
    cluster_->configuration.nodes.push_back({4, "four", {{0, "10.1.0.4"}}});
    cluster_->links[{4, 0}] = {true, 0};
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 1}, {4, 1}});
    cluster_->tell_reload();
    const std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 3, 4));
    EXPECT_TRUE(step->liveness.adapters.contains(192));
}

TEST_F(WispdEngineFollower, ARefusedReloadIsOnlyLogged) {
    advance();
    cluster_->news.reload_rejected = true;
    EXPECT_FALSE(advance());
    EXPECT_THAT(lines().back(),
                HasSubstr("Corosync rejected a configuration reload and keeps the previous one"));
}

TEST_F(WispdEngineFollower, ANodeWithoutANumberIsRefusedByNameAndTheRestStays) {
    advance();
    cluster_->configuration.nodes.push_back({60000, "big", {{0, "10.1.0.4"}}});
    cluster_->members = {{1, 1}, {2, 1}, {60000, 1}};
    cluster_->news.membership = true;
    cluster_->tell_reload();
    std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    EXPECT_FALSE(step->configuration);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2));
    EXPECT_THAT(follower_.status().refused, HasSubstr("node 60000 has no number"));
    EXPECT_THAT(lines().back(), HasSubstr("60000"));
    EXPECT_THAT(lines().back(), HasSubstr("; the previous one stays in use"));
    // Naming it in wispd's own file corrects this.
    settings_.names.nodes[60000] = 17;
    follower_.set(settings_);
    EXPECT_TRUE(is_readable());
    step = advance();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 17));
    EXPECT_EQ(follower_.status().refused, "");
}

TEST_F(WispdEngineFollower, OtherNamesAreANewConfigurationAndTheSameAreNone) {
    advance();
    follower_.set(settings_);
    EXPECT_FALSE(advance());
    settings_.names.networks[0] = "service";
    follower_.set(settings_);
    const std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_EQ(step->configuration->networks[0].name, "service");
}

TEST_F(WispdEngineFollower, NamesThatCannotBeTakenLeaveThoseInForceThatWereBefore) {
    cluster_->configuration.nodes.push_back({60000, "big", {{0, "10.1.0.4"}}});
    cluster_->members[60000] = 1;
    settings_.names.nodes[60000] = 17;
    follower_.set(settings_);
    const std::optional<Engine_Step> first = advance();
    ASSERT_TRUE(first);
    EXPECT_THAT(first->liveness.nodes, ElementsAre(1, 2, 3, 17));
    settings_.names.nodes.clear();
    follower_.set(settings_);
    EXPECT_FALSE(advance());
    EXPECT_THAT(follower_.status().refused, HasSubstr("node 60000 has no number"));
    cluster_->tell_members({{1, 1}, {2, 1}, {60000, 1}});
    const std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    EXPECT_FALSE(step->configuration);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 17));
}

TEST_F(WispdEngineFollower, AConfigurationThatIsRefusedRightAfterTheFirstOneDoesNotHideIt) {
    cluster_->on_configuration = [this] {
        cluster_->on_configuration = nullptr;
        cluster_->configuration.nodes.push_back({60000, "big", {{0, "10.1.0.4"}}});
        cluster_->tell_reload();
    };
    const std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    ASSERT_TRUE(step->configuration);
    EXPECT_EQ(step->configuration->nodes.size(), 3u);
    EXPECT_THAT(follower_.status().refused, HasSubstr("60000"));
}

TEST_F(WispdEngineFollower, NamesThatAreRefusedLeaveNumbersAndNamesAsTheyWere) {
    advance();
    settings_.names.nodes[2] = 3;
    settings_.names.networks[0] = "service";
    follower_.set(settings_);
    EXPECT_FALSE(advance());
    EXPECT_THAT(follower_.status().refused, HasSubstr("nodes 2 and 3 both map to number 3"));
    cluster_->tell_members({{1, 1}, {2, 1}});
    const std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    EXPECT_FALSE(step->configuration);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2));
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96, 97, 144, 145));
}

TEST_F(WispdEngineFollower, AnotherLocalNodeIsRefused) {
    advance();
    cluster_->configuration.local_id = 2;
    cluster_->tell_reload();
    EXPECT_FALSE(advance());
    EXPECT_THAT(follower_.status().refused, HasSubstr("the local node's number changed from 1 to 2"));
}

// ---- The engine's end and return ----

class WispdEngineEnd : public WispdEngineFollower {
  protected:
    WispdEngineEnd() {
        advance();
        cluster_->runs = false;
        cluster_->bell.ring();
    }

    // The state of an engine that has just started.
    void start_engine() {
        cluster_->runs = true;
        cluster_->members = {{1, 1}};
        for (auto &[name, link] : cluster_->links) {
            link = {false, 0};
        }
    }
};

TEST_F(WispdEngineEnd, NobodyDiesBeforeTheGraceIsOver) {
    EXPECT_FALSE(advance());
    EXPECT_FALSE(follower_.status().connected);
    EXPECT_EQ(follower_.status().trouble, "it does not run");
    EXPECT_THAT(follower_.status().awaited, ElementsAre(2, 3));
    EXPECT_FALSE(advance(9999ms));
    const std::optional<Engine_Step> step = advance(1ms);
    ASSERT_TRUE(step);
    EXPECT_FALSE(step->configuration);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1)); // wispd runs on it
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49));
    EXPECT_THAT(follower_.status().awaited, IsEmpty());
}

TEST_F(WispdEngineEnd, ItIsTriedAgainInGrowingIntervals) {
    advance();
    EXPECT_EQ(cluster_->connections, 1);
    advance(99ms);
    EXPECT_EQ(cluster_->connections, 1);
    advance(1ms);
    EXPECT_EQ(cluster_->connections, 2);
    advance(199ms);
    EXPECT_EQ(cluster_->connections, 2);
    advance(1ms);
    EXPECT_EQ(cluster_->connections, 3);
    EXPECT_EQ(follower_.status().attempts, 2u);
    for (int second = 0; second < 20; ++second) {
        advance(1s); // the longest pause
    }
    EXPECT_GE(cluster_->connections, 20);
}

TEST_F(WispdEngineEnd, OneThatComesBackAndFindsAllAgainIsNoNews) {
    advance();
    start_engine();
    EXPECT_FALSE(advance(100ms));
    EXPECT_TRUE(follower_.status().connected);
    EXPECT_THAT(follower_.status().awaited, ElementsAre(2, 3));
    cluster_->links[{2, 0}] = {true, 0};
    cluster_->links[{3, 0}] = {true, 0};
    EXPECT_FALSE(advance(1s));
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 1}});
    EXPECT_FALSE(advance());
    EXPECT_THAT(follower_.status().awaited, IsEmpty());
    cluster_->links[{2, 1}] = {true, 0};
    cluster_->links[{3, 1}] = {true, 0};
    EXPECT_FALSE(advance(1s));
    EXPECT_FALSE(advance(30s));
}

TEST_F(WispdEngineEnd, WhoIsNotFoundAgainDiesWithTheEndOfTheGrace) {
    advance();
    start_engine();
    advance(100ms);
    cluster_->links[{2, 0}] = cluster_->links[{2, 1}] = {true, 0};
    cluster_->tell_members({{1, 1}, {2, 1}});
    EXPECT_FALSE(advance(9800ms));
    const std::optional<Engine_Step> step = advance(100ms);
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2));
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96, 97));
    EXPECT_THAT(step->liveness.nodes_back, IsEmpty());
}

TEST_F(WispdEngineEnd, WhoWasSeenAgainAndGoesDiesAtOnce) {
    advance();
    start_engine();
    cluster_->links[{2, 0}] = cluster_->links[{2, 1}] = {true, 0};
    cluster_->members = {{1, 1}, {2, 1}};
    EXPECT_FALSE(advance(100ms));
    cluster_->tell_members({{1, 1}});
    const std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 3)); // node 3 still has its grace
}

TEST_F(WispdEngineEnd, NothingIsAwaitedOfWhoWasSeenAgainAndWent) {
    advance();
    start_engine();
    cluster_->links[{2, 0}] = {true, 0};
    cluster_->members = {{1, 1}, {2, 1}};
    EXPECT_FALSE(advance(100ms)); // its other link still has its grace
    cluster_->tell_members({{1, 1}});
    EXPECT_TRUE(advance());
    cluster_->tell_members({{1, 1}, {2, 2}});
    const std::optional<Engine_Step> step = advance(100ms);
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 3));
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96, 144, 145));
}

TEST_F(WispdEngineEnd, AfterTheGraceItsReturnTellsWhoIsThere) {
    advance();
    EXPECT_TRUE(advance(10s));
    start_engine();
    EXPECT_FALSE(advance(1s));
    cluster_->links[{2, 0}] = {true, 0};
    EXPECT_TRUE(advance(100ms)); // a link to a non-member changes nothing in the model
    cluster_->tell_members({{1, 1}, {2, 1}});
    const std::optional<Engine_Step> step = advance(100ms);
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2));
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96));
}

TEST_F(WispdEngineEnd, ASecondEndDoesNotProlongTheGraceOfWhoIsAwaited) {
    advance();
    start_engine();
    EXPECT_FALSE(advance(5s));
    cluster_->runs = false;
    EXPECT_FALSE(advance(1s));
    EXPECT_FALSE(advance(3999ms));
    EXPECT_TRUE(advance(1ms));
}

TEST_F(WispdEngineEnd, AnotherConfigurationIsReadWithTheReturnAndTheSameIsNot) {
    advance();
    start_engine();
    cluster_->members = {{1, 1}, {2, 1}, {3, 1}};
    for (auto &[name, link] : cluster_->links) {
        link = {true, 0};
    }
    EXPECT_FALSE(advance(100ms));
    cluster_->runs = false;
    EXPECT_FALSE(advance());
    cluster_->runs = true;
    cluster_->configuration.nodes.pop_back();
    const std::optional<Engine_Step> step = advance(1s);
    ASSERT_TRUE(step && step->configuration);
    EXPECT_EQ(step->configuration->nodes.size(), 2u);
}

TEST_F(WispdEngineEnd, TheLocalAdaptersAreToldMeanwhile) {
    advance();
    cables_.cut["10.1.0.1"] = true;
    const std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step);
    EXPECT_THAT(step->liveness.adapters, ElementsAre(49, 96, 97, 144, 145));
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 3));
}

TEST_F(WispdEngineEnd, OtherNamesAreTakenOverMeanwhileAndWhoIsAwaitedIsSoByThem) {
    advance();
    settings_.names.nodes[3] = 30;
    settings_.names.networks[1] = "storage";
    follower_.set(settings_);
    EXPECT_TRUE(is_readable());
    std::optional<Engine_Step> step = advance();
    ASSERT_TRUE(step && step->configuration);
    EXPECT_EQ(step->configuration->nodes[2].number, 30);
    EXPECT_EQ(step->configuration->networks[1].name, "storage");
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2, 30));
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96, 97, 1440, 1441));
    EXPECT_THAT(follower_.status().awaited, ElementsAre(2, 30));
    cluster_->runs = true;
    EXPECT_FALSE(advance(100ms)); // it finds all nodes again, with those names
    EXPECT_THAT(follower_.status().awaited, IsEmpty());
}

TEST_F(WispdEngineEnd, NamesThatAreRefusedMeanwhileChangeNothing) {
    advance();
    settings_.names.nodes[1] = 7; // the local node
    follower_.set(settings_);
    EXPECT_FALSE(advance());
    EXPECT_THAT(follower_.status().refused, HasSubstr("the local node's number changed from 1 to 7"));
    cluster_->runs = true;
    EXPECT_FALSE(advance(100ms));
    EXPECT_TRUE(follower_.status().connected);
}

TEST_F(WispdEngineEnd, WhoIsNotConfiguredAnyMoreIsNotAwaited) {
    advance();
    start_engine();
    cluster_->configuration.nodes.pop_back();
    const std::optional<Engine_Step> step = advance(100ms);
    ASSERT_TRUE(step && step->configuration);
    EXPECT_THAT(step->liveness.nodes, ElementsAre(1, 2));
    EXPECT_THAT(step->liveness.adapters, ElementsAre(48, 49, 96, 97));
    EXPECT_THAT(follower_.status().awaited, ElementsAre(2));
}

class WispdEngineAbsent : public WispdEngineFollower {};

TEST_F(WispdEngineAbsent, ThereIsNoStepBeforeItIsThere) {
    cluster_->runs = false;
    EXPECT_FALSE(advance());
    EXPECT_FALSE(follower_.status().connected);
    EXPECT_FALSE(advance(30s));
    cluster_->runs = true;
    const std::optional<Engine_Step> step = advance(1s);
    ASSERT_TRUE(step && step->configuration);
}

} // namespace
