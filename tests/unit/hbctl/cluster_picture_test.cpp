#include <gtest/gtest.h>

#include "tests/unit/hbctl/sample_picture.h"
#include "tools/hbctl/event_record.h"

using namespace hbctl;
using hbctl_test::sample_picture;

namespace {

Event_Record nodes_event(int kind, std::initializer_list<int> numbers) {
    Event_Record event;
    event.kind = kind;
    event.member_kind = Member_Kind::nodes;
    for (const int number : numbers) {
        event.nodes.push_back({number, {}});
    }
    return event;
}

Event_Record adapters_event(int kind, std::initializer_list<std::uint32_t> numbers) {
    Event_Record event;
    event.kind = kind;
    event.member_kind = Member_Kind::adapters;
    for (const std::uint32_t number : numbers) {
        Adapter_Member member;
        member.number = number;
        event.adapters.push_back(member);
    }
    return event;
}

} // namespace

TEST(HbctlPicture, LooksUpByNumber) {
    const Picture picture = sample_picture();
    ASSERT_NE(picture.node(2), nullptr);
    EXPECT_EQ(picture.node(2)->number, 2);
    EXPECT_EQ(picture.node(3), nullptr);
    ASSERT_NE(picture.network(1), nullptr);
    EXPECT_EQ(picture.network(1)->name, "net_b");
    EXPECT_EQ(picture.network(-1), nullptr);
    ASSERT_NE(picture.adapter(5), nullptr);
    EXPECT_EQ(picture.adapter(5)->address, "10.2.0.2");
    EXPECT_EQ(picture.adapter(0xFFFFFFFF), nullptr);
}

TEST(HbctlPicture, ANewGroupTellsOfEveryNodeWhetherItIsUp) {
    Picture picture = sample_picture();
    EXPECT_FALSE(count(picture).nodes_known);
    apply_event(nodes_event(4, {1}), picture);
    EXPECT_EQ(picture.nodes[0].state, Liveness::up);
    EXPECT_EQ(picture.nodes[1].state, Liveness::down);
    EXPECT_TRUE(count(picture).nodes_known);
    EXPECT_EQ(count(picture).nodes_up, 1U);
    EXPECT_FALSE(count(picture).adapters_known);
}

TEST(HbctlPicture, DeathAndJoinTouchTheirMembersOnly) {
    Picture picture = sample_picture();
    apply_event(adapters_event(4, {2, 3, 4, 5}), picture);
    apply_event(adapters_event(1, {4}), picture);
    EXPECT_EQ(count(picture).adapters_up, 3U);
    EXPECT_EQ(picture.adapters[2].state, Liveness::down);
    EXPECT_EQ(adapters_up(picture.networks[0], picture), 1U);
    EXPECT_EQ(adapters_up(picture.networks[1], picture), 2U);
    apply_event(adapters_event(2, {4}), picture);
    EXPECT_EQ(count(picture).adapters_up, 4U);
}

TEST(HbctlPicture, MembersThatAreNotConfiguredAreLeftAlone) {
    Picture picture = sample_picture();
    apply_event(adapters_event(2, {99}), picture);
    apply_event(nodes_event(2, {99}), picture);
    EXPECT_EQ(count(picture).adapters_up, 0U);
    EXPECT_EQ(count(picture).nodes_up, 0U);
}

TEST(HbctlPicture, OtherEventsChangeNoState) {
    Picture picture = sample_picture();
    apply_event(nodes_event(4, {1, 2}), picture);
    apply_event(nodes_event(512, {}), picture);
    apply_event(nodes_event(128, {1}), picture);
    EXPECT_EQ(count(picture).nodes_up, 2U);
}

TEST(HbctlPicture, UnknownStatesMakeTheCountOfANetworkUnknown) {
    Picture picture = sample_picture();
    apply_event(adapters_event(1, {2}), picture);
    EXPECT_EQ(adapters_up(picture.networks[0], picture), std::nullopt);
}

namespace {

// The sample with node 3 and its adapter 6 added.
Picture grown_picture() {
    Picture picture = sample_picture();
    picture.nodes.push_back({3, false, Liveness::unknown, {6}});
    picture.adapters.push_back({6, 3, 0, "10.1.0.3", "eth0", Liveness::unknown});
    picture.index();
    return picture;
}

} // namespace

TEST(HbctlPicture, StatesSurviveAChangeOfTheConfiguration) {
    Picture old = sample_picture();
    apply_event(nodes_event(4, {1}), old);
    apply_event(adapters_event(4, {2, 3}), old);
    Picture fresh = grown_picture();
    carry_states(old, fresh);
    EXPECT_EQ(fresh.nodes[0].state, Liveness::up);
    EXPECT_EQ(fresh.nodes[1].state, Liveness::down);
    EXPECT_EQ(fresh.adapters[1].state, Liveness::up);
    EXPECT_EQ(fresh.adapters[3].state, Liveness::down);
}

TEST(HbctlPicture, NewlyConfiguredMembersAreDownUntilTheyJoin) {
    Picture old = sample_picture();
    apply_event(nodes_event(4, {1}), old);
    apply_event(adapters_event(4, {2, 3}), old);
    Picture fresh = grown_picture();
    carry_states(old, fresh);
    EXPECT_EQ(fresh.nodes[2].state, Liveness::down);
    EXPECT_EQ(fresh.adapters[4].state, Liveness::down);
    apply_event(nodes_event(2, {3}), fresh);
    EXPECT_EQ(fresh.nodes[2].state, Liveness::up);
}

TEST(HbctlPicture, WhereStatesAreUnknownThoseOfNewMembersAreToo) {
    Picture fresh = grown_picture();
    carry_states(sample_picture(), fresh);
    EXPECT_EQ(fresh.nodes[2].state, Liveness::unknown);
    EXPECT_EQ(fresh.adapters[4].state, Liveness::unknown);
}

TEST(HbctlPicture, NamesComeFromTheFile) {
    Picture picture = sample_picture();
    common::Cluster_File file;
    file.nodes = {{2, "beta"}, {7, "not configured"}};
    set_names(picture, file, "unused");
    EXPECT_EQ(picture.nodes[0].name, "");
    EXPECT_EQ(picture.nodes[1].name, "beta");
    EXPECT_EQ(picture.adapter(2)->name, "");
    EXPECT_EQ(picture.adapter(5)->name, "beta/net_b");
    EXPECT_EQ(picture.why_nameless, "");
}

TEST(HbctlPicture, WithoutAFileItKnowsWhyNothingHasAName) {
    Picture picture = sample_picture();
    set_names(picture, std::nullopt, "no file");
    EXPECT_EQ(picture.nodes[0].name, "");
    EXPECT_EQ(picture.why_nameless, "no file");
}

TEST(HbctlPicture, NamesStayWhenTheFileIsRemoved) {
    Picture before = sample_picture();
    common::Cluster_File file;
    file.nodes = {{2, "beta"}};
    set_names(before, file, "");
    Picture after = sample_picture();
    set_names(after, std::nullopt, "no file");
    carry_names(before, after);
    EXPECT_EQ(after.adapter(4)->name, "beta/net_a");
    EXPECT_EQ(after.why_nameless, "");
    Picture renamed = sample_picture();
    file.nodes = {{2, "bet"}};
    set_names(renamed, file, "");
    carry_names(before, renamed);
    EXPECT_EQ(renamed.nodes[1].name, "bet");
}
