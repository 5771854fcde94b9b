// SPDX-License-Identifier: Apache-2.0
// hb::subscription and its guard with a real daemon: the sets, and the events that arrive for them.
#include <array>
#include <set>

#include "tests/companion/cluster.h"

namespace hb_test {
namespace {

using Numbers = std::vector<long>;
using namespace std::chrono_literals;

class CompanionSubscription : public SmallCluster {
  protected:
    void SetUp() override {
        SmallCluster::SetUp();
        opened = hb::session::open();
        ASSERT_TRUE(opened) << opened.error().text();
    }
    hb::session &session() { return *opened; }

    hb::result<hb::session> opened = hb::error(HB_ERROR_NOT_OPEN);
};

TEST_F(CompanionSubscription, HoldsAllNodesOrAllAdapters) {
    EXPECT_EQ((Numbers{1, 2, 3, 4}), numbers_of(hb::subscription::all_nodes(session())->node_members()));
    EXPECT_EQ((Numbers{2, 3, 4, 5, 6, 7, 8}),
              numbers_of(hb::subscription::all_adapters(session())->adapter_members()));
    EXPECT_EQ((Numbers{}), numbers_of(hb::subscription::all_sites(session())->site_members()));
}

TEST_F(CompanionSubscription, HoldsTheMembersOfAnyContainer) {
    EXPECT_EQ((Numbers{1, 3}), numbers_of(hb::subscription::nodes(session(), {3, 1})->node_members()));
    EXPECT_EQ((Numbers{2, 4}),
              numbers_of(hb::subscription::nodes(session(), std::set<int>{4, 2})->node_members()));
    EXPECT_EQ((Numbers{5, 8}), numbers_of(hb::subscription::adapters(session(), {8, 5})->adapter_members()));
    EXPECT_EQ(
        (Numbers{6}),
        numbers_of(hb::subscription::adapters(session(), std::array<unsigned long, 1>{6})->adapter_members()));
    EXPECT_EQ(
        (Numbers{4, 5}),
        numbers_of(hb::subscription::adapters(session(), session().adapters_of_node(2))->adapter_members()));
}

TEST_F(CompanionSubscription, RejectsWhatIsNotConfiguredOrOfAnotherKind) {
    EXPECT_TRUE(hb::subscription::nodes(session(), {1, 7}).error() == HB_ERROR_NODE_NOT_CONFIGURED);
    EXPECT_TRUE(hb::subscription::nodes(session(), std::set<int>{65537}).error() == HB_ERROR_BAD_ARGUMENT)
        << "it is not node 1";
    EXPECT_TRUE(hb::subscription::adapters(session(), std::set<int>{-1}).error() == HB_ERROR_BAD_ARGUMENT);
    EXPECT_TRUE(hb::subscription::adapters(session(), {9}).error() == HB_ERROR_ADAPTER_NOT_CONFIGURED);
    EXPECT_TRUE(hb::subscription::adapters_of_network(session(), 7).error() == HB_ERROR_BAD_ARGUMENT);
    EXPECT_FALSE(hb::subscription::sites(session(), {1})) << "there are no sites in daemon mode";
    hb::subscription nodes = *hb::subscription::nodes(session(), {1});
    EXPECT_TRUE(nodes.add_adapter(session(), 2).error() == HB_ERROR_WRONG_SUBSCRIPTION_TYPE);
    EXPECT_EQ((Numbers{}), numbers_of(nodes.adapter_members()));
}

TEST_F(CompanionSubscription, AddsAndRemovesMembers) {
    hb::subscription nodes;
    EXPECT_TRUE(nodes.node_members().empty());
    EXPECT_TRUE(nodes.add_node(session(), 4));
    EXPECT_TRUE(nodes.add_node(session(), 2));
    EXPECT_TRUE(nodes.add_node(session(), 2));
    EXPECT_EQ((Numbers{2, 4}), numbers_of(nodes.node_members()));
    const hb::subscription before = nodes;
    EXPECT_TRUE(nodes.remove_node(session(), 4));
    EXPECT_TRUE(nodes.remove_node(session(), 3));
    EXPECT_EQ((Numbers{2}), numbers_of(nodes.node_members()));
    EXPECT_EQ((Numbers{2, 4}), numbers_of(before.node_members())) << "a copy is a set of its own";
    hb::subscription adapters = *hb::subscription::adapters(session(), {2, 3});
    EXPECT_TRUE(adapters.remove_adapter(session(), 2));
    EXPECT_TRUE(adapters.add_adapter(session(), 8));
    EXPECT_EQ((Numbers{3, 8}), numbers_of(adapters.adapter_members()));
}

TEST_F(CompanionSubscription, ReceivesTheEventsOfItsMembersOnly) {
    const auto two = hb::subscription::nodes(session(), {2});
    ASSERT_TRUE(session().subscribe("two", *two, hb::event_mask::death));
    auto source = hb::event_source::open(session());
    ASSERT_TRUE(source);
    ASSERT_TRUE(session().state_of_adapter(2)) << "by now the daemon has read the subscription";
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":2})"));
    const auto death = next_event<hb::events::node_death>(*source);
    ASSERT_TRUE(death);
    EXPECT_EQ("two", death->subscription());
    EXPECT_EQ((Numbers{2}), numbers_of(death->nodes()));
}

TEST_F(CompanionSubscription, ToANetworkReceivesTheEventsOfItsAdapters) {
    const auto net_b = hb::subscription::adapters_of_network(session(), 1);
    ASSERT_TRUE(session().subscribe("net_b", *net_b, hb::event_mask::death | hb::event_mask::group));
    auto source = hb::event_source::open(session());
    ASSERT_TRUE(source);
    const auto group = next_event<hb::events::adapter_group>(*source);
    ASSERT_TRUE(group);
    EXPECT_EQ((Numbers{3, 5, 7}), numbers_of(group->adapters()));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    const auto death = next_event<hb::events::adapter_death>(*source);
    ASSERT_TRUE(death);
    EXPECT_EQ((Numbers{7}), numbers_of(death->adapters()));
}

TEST_F(CompanionSubscription, NeedsMembersAndAMask) {
    EXPECT_TRUE(session().subscribe("n", hb::subscription(), hb::event_mask::death).error() ==
                HB_ERROR_WRONG_SUBSCRIPTION_TYPE);
    EXPECT_TRUE(
        session().subscribe("n", *hb::subscription::all_nodes(session()), hb::event_mask::none).error() ==
        HB_ERROR_BAD_ARGUMENT);
}

TEST_F(CompanionSubscription, OfALongNameIsCutTo31Bytes) {
    const std::string name(40, 'x');
    ASSERT_TRUE(session().subscribe(name, *hb::subscription::all_nodes(session()), hb::event_mask::group));
    auto source = hb::event_source::open(session());
    ASSERT_TRUE(source);
    const auto group = next_event<hb::events::node_group>(*source);
    ASSERT_TRUE(group);
    EXPECT_EQ(name.substr(0, 31), group->subscription());
}

// Two subscriptions to the same death: the events show which one is left.
class CompanionSubscriptionGuard : public CompanionSubscription {
  protected:
    void SetUp() override {
        CompanionSubscription::SetUp();
        const auto all = hb::subscription::all_nodes(session());
        ASSERT_TRUE(session().subscribe("first", *all, hb::event_mask::death));
        ASSERT_TRUE(session().subscribe("second", *all, hb::event_mask::death));
        source = hb::event_source::open(session());
        ASSERT_TRUE(source);
    }

    // Returns the names of the subscriptions that receive a death, joined by spaces.
    std::string receivers() {
        EXPECT_TRUE(session().state_of_adapter(2)) << "by now the daemon has read what was sent before";
        EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
        EXPECT_TRUE(daemon.tells(R"({"do":"ffdc","id":"the end"})"));
        std::string names;
        for (;;) {
            const auto found = source->wait(GENEROUS);
            if (!found || !found->has_value()) {
                return names + " and no more events";
            }
            const auto *death = std::get_if<hb::events::node_death>(&**found);
            if (death == nullptr) {
                return names;
            }
            names += (names.empty() ? "" : " ") + std::string(death->subscription());
        }
    }

    hb::result<hb::event_source> source = hb::error(HB_ERROR_NOT_OPEN);
};

TEST_F(CompanionSubscriptionGuard, EndsItsSubscription) {
    { const hb::subscription_guard guard(session(), "first"); }
    EXPECT_EQ("second", receivers());
}

TEST_F(CompanionSubscriptionGuard, EndsItOnceAfterItWasMoved) {
    hb::subscription_guard guard(session(), "first");
    {
        hb::subscription_guard moved = std::move(guard);
        hb::subscription_guard other(session(), "second");
        moved.release();
        moved = std::move(other);
    }
    EXPECT_EQ("first", receivers()) << "the released one stays";
}

TEST_F(CompanionSubscriptionGuard, DoesNothingAfterTheSessionWasClosed) {
    {
        const hb::subscription_guard guard(session(), "first");
        session().close();
    }
    EXPECT_FALSE(session().is_open());
    ASSERT_TRUE(session().reopen());
}

} // namespace
} // namespace hb_test
