// SPDX-License-Identifier: Apache-2.0
// Which adapters of one gossip network are up, from its agent's reports, ends and returns.
#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/address.h"
#include "engine/serf/serf_network.h"
#include "engine/serf/serf_numbers.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using wispd::Serf_Member;
using wispd::Serf_Network;
using wispd::Serf_Numbers;
using wispd::Serf_Report;
using wispd::Serf_Settings;
using Kind = Serf_Report::Kind;
using Status = Serf_Member::Status;

Serf_Settings discovering() {
    Serf_Settings settings;
    settings.discover = true;
    settings.cluster.max_nodes = 2049;
    return settings;
}

Serf_Settings describing() {
    Serf_Settings settings;
    settings.cluster.max_nodes = 16;
    settings.cluster.nodes = {{3, "db", {}}, {4, "web", {}}};
    return settings;
}

Serf_Member member(const std::string &name, Status status = Status::alive, const std::string &tag = "") {
    Serf_Member member;
    member.name = name;
    member.address = *wispd::parse_address("10.1.0.1");
    member.status = status;
    if (!tag.empty()) {
        member.node_tag = tag;
    }
    return member;
}

// ---- Numbers ----

struct Number_Case {
    const char *name;
    const char *tag;
    std::optional<int> node;
    const char *reason;
};

void expect_numbers(const Serf_Numbers &numbers, const std::vector<Number_Case> &cases) {
    for (const Number_Case &one : cases) {
        const Serf_Numbers::Answer answer = numbers.node_of(member(one.name, Status::alive, one.tag));
        EXPECT_EQ(answer.node, one.node) << one.name << " " << one.tag;
        EXPECT_EQ(answer.reason, one.reason) << one.name << " " << one.tag;
    }
}

TEST(SerfNumbers, ADiscoveredMembersTagDecidesAndThenTheNumberAtTheEndOfItsName) {
    expect_numbers(
        Serf_Numbers(discovering()),
        {{"n17", "", 17, ""},
         {"17", "", 17, ""},
         {"host-2-17", "", 17, ""},
         {"n007", "", 7, ""},
         {"n17", "5", 5, ""},
         {"any", "0", 0, ""},
         {"any", "2048", 2048, ""},
         {"any", "", std::nullopt, "it has no tag hb_node, and its name does not end with a number"},
         {"n17", "2049", std::nullopt, "node number 2049 is out of range: 0 to 2048 are possible"},
         {"n99999999999999", "", std::nullopt, "node number 999999999 is out of range: 0 to 2048 are possible"},
         {"n17", "-1", std::nullopt, "\"-1\" is not a node number"},
         {"n17", "5x", std::nullopt, "\"5x\" is not a node number"},
         {"n17", " 5", std::nullopt, "\" 5\" is not a node number"}});
}

TEST(SerfNumbers, OfADescribedClusterOnlyConfiguredNodesHaveNumbers) {
    expect_numbers(Serf_Numbers(describing()),
                   {{"db", "", 3, ""},
                    {"web", "", 4, ""},
                    {"web", "3", 3, ""},
                    {"any", "4", 4, ""},
                    {"any", "5", std::nullopt, "no [[node]] has number 5"},
                    {"n3", "", std::nullopt, "no [[node]] has its name, and it has no tag hb_node"}});
}

// ---- Members ----

class SerfNetwork : public testing::Test {
  protected:
    Serf_Network::News report(Kind kind, const std::vector<Serf_Member> &members) {
        return network_.apply({kind, members}, rules(), now_);
    }
    Serf_Network::News wait(std::chrono::milliseconds time) {
        now_ += time;
        return network_.advance(rules(), now_);
    }
    Serf_Network::Rules rules() { return {numbers_, own_, local_, settle_, 10s}; }
    std::vector<int> up() const {
        std::vector<int> nodes;
        for (int node = 0; node < 2049; ++node) {
            if (network_.is_up(node)) {
                nodes.push_back(node);
            }
        }
        return nodes;
    }

    Serf_Numbers numbers_{discovering()};
    std::string own_;
    std::optional<int> local_;
    std::chrono::milliseconds settle_{0};
    Serf_Network::Time now_{1h};
    wispd::Serf_Names names_;
    Serf_Network::Settling settling_;
    Serf_Network network_{0, names_, settling_};
};

TEST_F(SerfNetwork, WhoIsAliveOrLeavingIsUp) {
    const auto news =
        report(Kind::all, {member("n1"), member("n2", Status::leaving), member("n3", Status::left),
                           member("n4", Status::failed), member("n5", Status::none)});
    EXPECT_TRUE(news.liveness);
    EXPECT_TRUE(news.configuration);
    EXPECT_EQ(news.rejected, 0U);
    EXPECT_THAT(up(), ElementsAre(1, 2));
    EXPECT_EQ(network_.slots(), 6);
    EXPECT_EQ(network_.member(4)->name, "n4");
    EXPECT_FALSE(network_.member(6));
    EXPECT_EQ(network_.node_named("n3"), 3);
    EXPECT_FALSE(network_.node_named("n6"));
}

TEST_F(SerfNetwork, EventsChangeWhoIsUpAndKnowADepartureFromAFailure) {
    report(Kind::all, {member("n1"), member("n2"), member("n3")});
    EXPECT_TRUE(report(Kind::leave, {member("n2", Status::left)}).liveness);
    EXPECT_TRUE(report(Kind::failed, {member("n3", Status::failed)}).liveness);
    EXPECT_THAT(up(), ElementsAre(1));
    EXPECT_TRUE(network_.has_departed(2));
    EXPECT_FALSE(network_.has_departed(3));
    EXPECT_FALSE(report(Kind::failed, {member("n3", Status::failed)}).liveness);
    const auto joined = report(Kind::join, {member("n2"), member("n3"), member("n9")});
    EXPECT_TRUE(joined.liveness);
    EXPECT_TRUE(joined.configuration); // n9 is new
    EXPECT_THAT(up(), ElementsAre(1, 2, 3, 9));
    EXPECT_FALSE(network_.has_departed(2));
    const auto again = report(Kind::join, {member("n2")});
    EXPECT_FALSE(again.liveness || again.configuration);
}

TEST_F(SerfNetwork, AReapedMemberIsRemoved) {
    report(Kind::all, {member("n1"), member("n2", Status::failed)});
    const auto news = report(Kind::reap, {member("n2", Status::failed)});
    EXPECT_TRUE(news.configuration);
    EXPECT_FALSE(news.liveness);
    EXPECT_FALSE(network_.member(2));
    EXPECT_FALSE(report(Kind::reap, {member("n7")}).configuration);
}

TEST_F(SerfNetwork, AnotherAddressIsAnotherConfiguration) {
    report(Kind::all, {member("n1")});
    Serf_Member moved = member("n1");
    moved.address = *wispd::parse_address("10.1.0.99");
    const auto news = report(Kind::update, {moved});
    EXPECT_TRUE(news.configuration);
    EXPECT_FALSE(news.liveness);
    EXPECT_EQ(wispd::address_text(network_.member(1)->address), "10.1.0.99");
}

// ---- Members that are rejected ----

TEST_F(SerfNetwork, AMemberWithATakenNumberIsRejectedUntilTheNumberIsFree) {
    const auto news = report(Kind::all, {member("a1"), member("b1")});
    EXPECT_EQ(news.rejected, 1U);
    EXPECT_EQ(network_.member(1)->name, "a1");
    EXPECT_THAT(network_.rejections(100), ElementsAre("network 0, b1: node 1 is already the member a1"));
    EXPECT_EQ(report(Kind::update, {member("b1")}).rejected, 0U); // counted once
    EXPECT_FALSE(report(Kind::failed, {member("b1", Status::failed)}).liveness);
    EXPECT_THAT(up(), ElementsAre(1));
    report(Kind::join, {member("b1")});

    const auto freed = report(Kind::failed, {member("a1", Status::failed)});
    EXPECT_TRUE(freed.liveness);
    EXPECT_EQ(network_.member(1)->name, "b1");
    EXPECT_THAT(up(), ElementsAre(1));
    EXPECT_THAT(network_.rejections(100), ElementsAre("network 0, a1: node 1 is now the member b1"));
    EXPECT_EQ(freed.rejected, 0U); // the agent still lists it, and it is no mistake
    EXPECT_EQ(network_.counts().members, 2U);
    EXPECT_EQ(report(Kind::join, {member("a1")}).rejected, 1U);
    EXPECT_EQ(network_.member(1)->name, "b1");
}

TEST_F(SerfNetwork, AMemberWithoutANumberChangesNothing) {
    const auto news = report(Kind::all, {member("n1"), member("nobody"), member("far", Status::alive, "2049")});
    EXPECT_EQ(news.rejected, 2U);
    EXPECT_THAT(up(), ElementsAre(1));
    EXPECT_THAT(network_.rejections(100),
                ElementsAre(HasSubstr("far: node number 2049"), HasSubstr("nobody: it has no tag")));
    const auto named = report(Kind::update, {member("nobody", Status::alive, "7")});
    EXPECT_TRUE(named.liveness);
    EXPECT_THAT(up(), ElementsAre(1, 7));
    report(Kind::reap, {member("far")});
    EXPECT_THAT(network_.rejections(100), IsEmpty());
}

TEST_F(SerfNetwork, AMemberWhoseTagChangesMovesToItsNewNumber) {
    report(Kind::all, {member("x", Status::alive, "3")});
    report(Kind::update, {member("x", Status::alive, "8")});
    EXPECT_THAT(up(), ElementsAre(8));
    EXPECT_FALSE(network_.member(3));
    report(Kind::update, {member("x", Status::alive, "none")});
    EXPECT_THAT(up(), IsEmpty());
}

TEST_F(SerfNetwork, MembersCanExchangeTheirNumbersWhenTheFileChanges) {
    Serf_Settings settings = describing();
    numbers_ = Serf_Numbers(settings);
    report(Kind::all, {member("db"), member("web", Status::failed)});
    EXPECT_THAT(up(), ElementsAre(3));
    std::swap(settings.cluster.nodes[0].name, settings.cluster.nodes[1].name);
    numbers_ = Serf_Numbers(settings);
    network_.renumber({Kind::all, {member("db"), member("web", Status::failed)}}, rules(), now_);
    EXPECT_THAT(up(), ElementsAre(4));
    EXPECT_EQ(network_.member(3)->name, "web");
    EXPECT_THAT(network_.rejections(100), IsEmpty());
}

TEST_F(SerfNetwork, OfTwoMembersWithOneNumberAListsOrderDoesNotDecide) {
    own_ = "z2";
    const std::vector<Serf_Member> members{member("b1"), member("z2"), member("a1", Status::failed),
                                           member("a2"), member("c1")};
    for (std::vector<Serf_Member> order : {members, {members.rbegin(), members.rend()}}) {
        Serf_Network network(0, names_, settling_);
        network.apply({Kind::all, order}, rules(), now_);
        EXPECT_EQ(network.member(1)->name, "b1"); // alive, and the first by name
        EXPECT_EQ(network.member(2)->name, "z2"); // the agent's own member
    }
}

TEST_F(SerfNetwork, TheAgentsOwnMemberIsTheLocalNodeWhateverItsTagSays) {
    own_ = "n1";
    report(Kind::all, {member("n1"), member("n2")});
    local_ = 1;
    report(Kind::update, {member("n1", Status::alive, "9")});
    EXPECT_THAT(up(), ElementsAre(1, 2));
    EXPECT_EQ(network_.own_number(), 9);
    EXPECT_FALSE(network_.member(9));
}

TEST_F(SerfNetwork, TheAgentsOwnMemberDoesNotLeaveWhenTheAgentStops) {
    own_ = "n1";
    report(Kind::all, {member("n1"), member("n2")});
    EXPECT_FALSE(report(Kind::leave, {member("n1", Status::left)}).liveness);
    network_.hold(now_ + 10s);
    EXPECT_THAT(network_.awaited(), ElementsAre(1, 2));
    EXPECT_FALSE(report(Kind::all, {member("n1"), member("n2")}).liveness);
}

TEST_F(SerfNetwork, AMachineThatTakesANumberIsKnownAsADeath) {
    report(Kind::all, {member("x", Status::alive, "3"), member("y", Status::alive, "3")});
    network_.take_died();
    report(Kind::update, {member("x", Status::alive, "4")});
    EXPECT_EQ(network_.member(3)->name, "y");
    EXPECT_THAT(network_.take_died(), ElementsAre(3));
    EXPECT_THAT(network_.take_died(), IsEmpty());
}

TEST_F(SerfNetwork, AMemberThatFailsAndReturnsIsKnownAsADeath) {
    report(Kind::all, {member("n1"), member("n2")});
    network_.take_died();
    report(Kind::failed, {member("n2", Status::failed)});
    report(Kind::join, {member("n2")});
    EXPECT_THAT(up(), ElementsAre(1, 2));
    EXPECT_THAT(network_.take_died(), ElementsAre(2));
}

TEST_F(SerfNetwork, AMemberThatIsReapedWithItsLeaveLeft) {
    report(Kind::all, {member("n1"), member("n2"), member("n3")});
    report(Kind::reap, {member("n2", Status::left), member("n3", Status::failed)});
    EXPECT_TRUE(network_.has_departed(2));
    EXPECT_FALSE(network_.has_departed(3));
    report(Kind::join, {member("n2")});
    EXPECT_FALSE(network_.has_departed(2));
}

// ---- The end and the return of the agent ----

TEST_F(SerfNetwork, MembersStayUpForTheGraceAfterTheAgentEnded) {
    report(Kind::all, {member("n1"), member("n2"), member("n3", Status::failed)});
    network_.hold(now_ + 10s);
    EXPECT_FALSE(wait(9999ms).liveness);
    EXPECT_THAT(up(), ElementsAre(1, 2));
    EXPECT_THAT(network_.awaited(), ElementsAre(1, 2));
    EXPECT_EQ(network_.next_due(), now_ + 1ms);
    EXPECT_TRUE(wait(1ms).liveness);
    EXPECT_THAT(up(), IsEmpty());
    EXPECT_FALSE(network_.has_departed(1));
    EXPECT_TRUE(network_.member(1)); // still in the configuration
    EXPECT_FALSE(network_.next_due());
}

TEST_F(SerfNetwork, AnAgentThatReturnsAndKnowsOnlyItselfIsNoNews) {
    report(Kind::all, {member("n1"), member("n2"), member("n3", Status::failed)});
    network_.hold(now_ + 10s);
    wait(1s);
    auto news = report(Kind::all, {member("n1")});
    EXPECT_FALSE(news.liveness || news.configuration);
    EXPECT_THAT(network_.awaited(), ElementsAre(2));
    news = report(Kind::join, {member("n2")});
    EXPECT_FALSE(news.liveness || news.configuration);
    EXPECT_THAT(network_.awaited(), IsEmpty());
    EXPECT_FALSE(report(Kind::failed, {member("n3", Status::failed)}).configuration);
    EXPECT_FALSE(network_.next_due());
    EXPECT_THAT(up(), ElementsAre(1, 2));
}

TEST_F(SerfNetwork, AMemberThatTheReturnedAgentDoesNotListDiesWithTheGraceAndIsRemovedAfterIt) {
    report(Kind::all, {member("n1"), member("n2")});
    network_.hold(now_ + 10s);
    wait(4s);
    report(Kind::all, {member("n1")});
    EXPECT_FALSE(wait(5999ms).liveness);
    const auto dead = wait(1ms);
    EXPECT_TRUE(dead.liveness);
    EXPECT_FALSE(dead.configuration);
    EXPECT_THAT(up(), ElementsAre(1));
    EXPECT_FALSE(wait(3999ms).configuration);
    EXPECT_TRUE(wait(1ms).configuration);
    EXPECT_FALSE(network_.member(2));
}

TEST_F(SerfNetwork, AMemberThatTheReturnedAgentReportsDeadDiesAtOnce) {
    report(Kind::all, {member("n1"), member("n2"), member("n3")});
    network_.hold(now_ + 10s);
    EXPECT_TRUE(
        report(Kind::all, {member("n1"), member("n2", Status::failed), member("n3", Status::left)}).liveness);
    EXPECT_THAT(up(), ElementsAre(1));
    EXPECT_FALSE(network_.has_departed(2));
    EXPECT_TRUE(network_.has_departed(3));
}

TEST_F(SerfNetwork, ASecondEndDoesNotProlongTheGrace) {
    report(Kind::all, {member("n1"), member("n2")});
    network_.hold(now_ + 10s);
    wait(6s);
    report(Kind::all, {member("n1")});
    network_.hold(now_ + 10s);
    EXPECT_TRUE(wait(4s).liveness);
    EXPECT_THAT(up(), ElementsAre(1)); // n1 was reported meanwhile, and has a grace of its own
    EXPECT_TRUE(wait(6s).liveness);
    EXPECT_THAT(up(), IsEmpty());
}

// ---- Deaths that are held back ----

TEST_F(SerfNetwork, ADeathIsReportedWhenItHasStoodForTheTimeToSettle) {
    settle_ = 2000ms;
    report(Kind::all, {member("n1"), member("n2")});
    EXPECT_FALSE(report(Kind::failed, {member("n2", Status::failed)}).liveness);
    EXPECT_EQ(network_.held_deaths(2), 1);
    EXPECT_THAT(up(), ElementsAre(1, 2));
    EXPECT_FALSE(wait(1999ms).liveness);
    EXPECT_TRUE(wait(1ms).liveness);
    EXPECT_THAT(up(), ElementsAre(1));
    EXPECT_EQ(settling_[2].held, 1U);
    EXPECT_EQ(settling_[2].withdrawn, 0U);
    EXPECT_EQ(network_.held_deaths(2), 0);
}

TEST_F(SerfNetwork, AMemberThatIsAliveAgainInTimeDidNotDieAndIsCounted) {
    settle_ = 2000ms;
    report(Kind::all, {member("n1"), member("n2")});
    for (int flap = 0; flap < 3; ++flap) {
        report(Kind::failed, {member("n2", Status::failed)});
        wait(1s);
        EXPECT_FALSE(report(Kind::join, {member("n2")}).liveness);
    }
    EXPECT_FALSE(wait(1h).liveness);
    EXPECT_THAT(up(), ElementsAre(1, 2));
    EXPECT_EQ(settling_[2].held, 3U);
    EXPECT_EQ(settling_[2].withdrawn, 3U);
    EXPECT_FALSE(settling_.contains(1));
}

TEST_F(SerfNetwork, AHeldDeathIsReportedInItsTimeAlsoWhenTheAgentEnds) {
    settle_ = 2000ms;
    report(Kind::all, {member("n1"), member("n2")});
    report(Kind::failed, {member("n2", Status::failed)});
    network_.hold(now_ + 10s);
    EXPECT_TRUE(wait(2s).liveness);
    EXPECT_THAT(up(), ElementsAre(1));
}

TEST_F(SerfNetwork, AHeldFailureThatIsThenForcedToLeaveIsAFailure) {
    settle_ = 2000ms;
    report(Kind::all, {member("n1"), member("n2")});
    report(Kind::failed, {member("n2", Status::failed)});
    report(Kind::leave, {member("n2", Status::left)});
    EXPECT_TRUE(wait(2s).liveness);
    EXPECT_FALSE(network_.has_departed(2));
}

// ---- Counts ----

TEST_F(SerfNetwork, CountsWhatTheAgentShouldCount) {
    report(Kind::all, {member("n1"), member("n2", Status::failed), member("n3", Status::left), member("nobody"),
                       member("x1", Status::failed)});
    const wispd::Serf_Counts counts = network_.counts();
    EXPECT_EQ(counts.members, 5U);
    EXPECT_EQ(counts.failed, 2U);
    EXPECT_EQ(counts.left, 1U);
}

} // namespace
