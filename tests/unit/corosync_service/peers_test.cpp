// SPDX-License-Identifier: Apache-2.0
// The peers of a program: the events when they connect and disconnect.
#include <deque>

#include "engine/engine.h"
#include "tests/support/deadline.h"
#include "tests/unit/corosync_service/service_fixture.h"

namespace hb_test {
namespace {

using mox_corosync::Peers;

struct Fake_Group {
    bool stands = true;
    int joined = 0;
    std::vector<Peers> news;
    wispd_test::Bell bell;

    void tell(const Peers &peers) {
        news.push_back(peers);
        bell.ring();
    }
};

class Fake_Peer_Group : public mox_corosync::Peer_Group {
  public:
    explicit Fake_Peer_Group(Fake_Group &group) : group_(group) {
        check();
        ++group.joined;
    }
    int descriptor() const override { return group_.bell.descriptor(); }
    std::vector<Peers> dispatch() override {
        check();
        group_.bell.silence();
        return std::exchange(group_.news, {});
    }

  private:
    void check() const {
        if (!group_.stands) {
            throw wispd::Engine_Gone("there is no group");
        }
    }

    Fake_Group &group_;
};

class Corosync_Peers : public Corosync_Service_Test {
  protected:
    mox_corosync::Peer_Settings peers() {
        return {"grpd", [this] { return std::make_unique<Fake_Peer_Group>(group_); }};
    }

    // The others count as up until the grace ends.
    void engine_restarts_alone() {
        engine_ends();
        group_.stands = false;
        group_.bell.ring();
        EXPECT_EQ("1 up, 2 up, 3 up", nodes());
        EXPECT_EQ(1, local_node()); // checks the cluster
        cluster_->runs = group_.stands = true;
        cluster_->members = {{1, 1}};
        group_.news = {{{1}, {}}};
    }

    // Returns whether no event arrives before it has rejoined.
    bool rejoins(const Unique_Fd &monitor) {
        bool told = false;
        return wait_until([&] {
                   told = told || read_peer(monitor) != NOTHING;
                   return told || (group_.joined == 2 && group_.news.empty());
               }) &&
               !told;
    }

    Fake_Group group_;
};

TEST_F(Corosync_Peers, OneThatEndsAndComesBackOnALivingNodeIsTold) {
    group_.news = {{{1, 2, 3}, {}}};
    start(peers(), std::chrono::seconds(100), std::chrono::seconds(100));
    const Unique_Fd monitor = open("peer_gs_liveness");
    EXPECT_FALSE(is_readable(monitor));
    group_.tell({{1, 3}, {}});
    EXPECT_TRUE(is_readable(monitor));
    EXPECT_EQ("down 2 grpd", read_peer(monitor));
    EXPECT_FALSE(is_readable(monitor));
    group_.tell({{1, 2, 3}, {}});
    EXPECT_EQ("up 2 grpd", read_peer(monitor));
    EXPECT_EQ(NOTHING, read_peer(monitor));
}

TEST_F(Corosync_Peers, OneThatIsRestartedBetweenTwoLooksIsToldAsDownAndUp) {
    group_.news = {{{1, 2}, {}}};
    start(peers());
    const Unique_Fd monitor = open("peer_gs_liveness");
    group_.tell({{1}, {}});
    group_.tell({{1, 2}, {}});
    EXPECT_EQ("down 2 grpd", read_peer(monitor));
    EXPECT_EQ("up 2 grpd", read_peer(monitor));
}

TEST_F(Corosync_Peers, ThisNodesOwnAreNotTold) {
    group_.news = {{{1}, {}}};
    start(peers());
    const Unique_Fd monitor = open("peer_gs_liveness");
    group_.tell({{}, {}});
    group_.tell({{1}, {}});
    EXPECT_EQ(NOTHING, read_peer(monitor));
}

TEST_F(Corosync_Peers, OneThatIsGoneWithItsNodeIsNotTold) {
    group_.news = {{{1, 2, 3}, {}}};
    start(peers());
    const Unique_Fd monitor = open("peer_gs_liveness");
    group_.tell({{1, 3}, {2}}); // the group may learn of it before the node's death is reported
    EXPECT_EQ(NOTHING, read_peer(monitor));
    node_dies(3);
    group_.tell({{1}, {}});
    EXPECT_EQ(NOTHING, read_peer(monitor));
}

TEST_F(Corosync_Peers, OneOfANodeThatTheConfigurationDoesNotHaveIsNotTold) {
    start(peers());
    const Unique_Fd monitor = open("peer_gs_liveness");
    group_.tell({{1, 9, 70001}, {}});
    EXPECT_EQ(NOTHING, read_peer(monitor));
}

TEST_F(Corosync_Peers, TheGroupIsJoinedAgainWhenItIsLost) {
    group_.news = {{{1, 2, 3}, {}}};
    start(peers());
    const Unique_Fd monitor = open("peer_gs_liveness");
    EXPECT_EQ(1, group_.joined);
    group_.stands = false;
    group_.bell.ring();
    EXPECT_EQ(NOTHING, read_peer(monitor));
    group_.news = {{{1, 3}, {}}};
    group_.stands = true;
    std::string told;
    EXPECT_TRUE(wait_until([&] { return (told = read_peer(monitor)) != NOTHING; }));
    EXPECT_EQ("down 2 grpd", told);
    EXPECT_EQ(2, group_.joined);
}

// Like a real one, its group then first contains only itself.
TEST_F(Corosync_Peers, AnEngineThatComesBackAndFindsThemAgainIsNoNews) {
    group_.news = {{{1, 2, 3}, {}}};
    start(peers());
    const Unique_Fd monitor = open("peer_gs_liveness");
    engine_restarts_alone();
    ASSERT_TRUE(rejoins(monitor));
    EXPECT_EQ(NOTHING, read_peer(monitor));
    group_.tell({{1, 2, 3}, {}});
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 1}});
    EXPECT_EQ(NOTHING, read_peer(monitor));
    group_.tell({{1, 3}, {}});
    EXPECT_EQ("down 2 grpd", read_peer(monitor));
}

TEST_F(Corosync_Peers, WhoHasEndedMeanwhileIsToldWhenItsNodeIsFoundAgain) {
    group_.news = {{{1, 2, 3}, {}}};
    start(peers());
    const Unique_Fd monitor = open("peer_gs_liveness");
    engine_restarts_alone();
    ASSERT_TRUE(rejoins(monitor));
    group_.tell({{1, 3}, {}});
    EXPECT_EQ(NOTHING, read_peer(monitor));
    cluster_->tell_members({{1, 1}, {2, 1}, {3, 1}});
    EXPECT_EQ("down 2 grpd", read_peer(monitor));
    EXPECT_EQ(NOTHING, read_peer(monitor));
    group_.tell({{1, 2, 3}, {}});
    EXPECT_EQ("up 2 grpd", read_peer(monitor));
}

TEST_F(Corosync_Peers, WhoWasNotThereAtFirstAndThenWasIsNoNewsHoweverLateItIsRead) {
    group_.news = {{{1, 2, 3}, {}}};
    start(peers());
    const Unique_Fd monitor = open("peer_gs_liveness");
    engine_restarts_alone();
    cluster_->members = {{1, 1}, {2, 1}, {3, 1}};
    group_.news = {{{1}, {}}, {{1, 2, 3}, {}}};
    ASSERT_TRUE(rejoins(monitor));
    EXPECT_EQ(NOTHING, read_peer(monitor));
}

TEST_F(Corosync_Peers, TheGroupIsJoinedWhenTheEngineRuns) {
    cluster_->runs = false;
    start(peers());
    const Unique_Fd monitor = open("peer_gs_liveness");
    EXPECT_EQ(NOTHING, read_peer(monitor));
    EXPECT_EQ(0, group_.joined);
    cluster_->runs = true;
    EXPECT_TRUE(wait_until([&] {
        read_peer(monitor);
        return group_.joined == 1;
    }));
}

TEST_F(Corosync_Peers, WithoutANameThereAreNone) {
    start();
    const Unique_Fd monitor = open("peer_gs_liveness");
    EXPECT_EQ(NOTHING, read_peer(monitor));
}

} // namespace
} // namespace hb_test
