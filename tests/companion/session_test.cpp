// SPDX-License-Identifier: Apache-2.0
// hb::session with a real daemon: opening, queries, ranges, requests, and what a closed session does.
#include <algorithm>
#include <csignal>
#include <iterator>
#include <set>

#include "tests/companion/cluster.h"

namespace hb_test {
namespace {

using Numbers = std::vector<long>;

class CompanionSession : public SmallCluster {
  protected:
    void SetUp() override {
        SmallCluster::SetUp();
        opened = hb::session::open();
        ASSERT_TRUE(opened) << opened.error().text();
    }
    hb::session &session() { return *opened; }

    hb::result<hb::session> opened = hb::error(HB_ERROR_NOT_OPEN);
};

TEST(CompanionSessionAlone, FailsWithTheReasonIfNoDaemonListens) {
    const Environment_Guard socket("HB_SERVER_SOCKET", "/nonexistent/socket");
    const hb::result<hb::session> opened = hb::session::open();
    ASSERT_FALSE(opened);
    EXPECT_TRUE(opened.error() == HB_ERROR_CONNECT_FAILED);
    hb_terminate();
}

// ---- Ranges ----

TEST_F(CompanionSession, ListsWhatIsConfigured) {
    EXPECT_EQ((Numbers{1, 2, 3, 4}), numbers_of(session().nodes()));
    EXPECT_EQ((Numbers{0, 1}), numbers_of(session().networks()));
    EXPECT_EQ((Numbers{2, 3, 4, 5, 6, 7, 8}), numbers_of(session().adapters()));
    EXPECT_EQ((Numbers{}), numbers_of(session().sites()));
    EXPECT_EQ((Numbers{4, 5}), numbers_of(session().adapters_of_node(2)));
    EXPECT_EQ((Numbers{3, 5, 7}), numbers_of(session().adapters_of_network(1)));
}

TEST_F(CompanionSession, ListsNothingForWhatIsNotConfigured) {
    EXPECT_TRUE(session().adapters_of_node(7).empty());
    EXPECT_TRUE(session().adapters_of_node(-1).empty());
    EXPECT_TRUE(session().adapters_of_network(40).empty());
    EXPECT_TRUE(hb::node_range().empty());
}

TEST_F(CompanionSession, ItsRangesWorkWithTheAlgorithms) {
    const auto adapters = session().adapters();
    EXPECT_EQ(7U, adapters.count());
    EXPECT_EQ(8U, *std::max_element(adapters.begin(), adapters.end()));
    EXPECT_NE(adapters.end(), std::find(adapters.begin(), adapters.end(), 5U));
    EXPECT_EQ(adapters.end(), std::find(adapters.begin(), adapters.end(), 9U));
    EXPECT_EQ(adapters.end(), std::adjacent_find(adapters.begin(), adapters.end()));
    EXPECT_EQ(3,
              std::count_if(adapters.begin(), adapters.end(), [](hb::adapter_number a) { return a % 2 == 1; }));
    EXPECT_EQ(4U, *std::next(adapters.begin(), 2));
}

TEST_F(CompanionSession, IteratorsOfOneRangeAreIndependent) {
    const auto nodes = session().nodes();
    auto first = nodes.begin();
    const auto second = nodes.begin();
    EXPECT_EQ(1, *first++);
    EXPECT_EQ(2, *first);
    EXPECT_EQ(1, *second);
    EXPECT_NE(first, second);
    EXPECT_EQ(std::next(second), first);
    std::vector<std::pair<int, int>> pairs;
    for (const hb::node_number left : nodes) {
        for (const hb::node_number right : session().nodes()) {
            pairs.emplace_back(left, right);
        }
    }
    EXPECT_EQ(16U, pairs.size());
}

#if defined(__cpp_lib_ranges)
TEST_F(CompanionSession, ItsRangesAreForwardRangesOfTheStandard) {
    static_assert(std::forward_iterator<hb::node_range::iterator>);
    static_assert(std::forward_iterator<hb::event_adapters::iterator>);
    static_assert(std::ranges::forward_range<hb::adapters_of_node_range>);
    EXPECT_EQ(2, std::ranges::count_if(session().nodes(), [](hb::node_number node) { return node > 2; }));
}
#endif

// ---- Queries ----

TEST_F(CompanionSession, CountsWhatIsConfigured) {
    EXPECT_EQ(4, session().node_count().value());
    EXPECT_EQ(2, session().network_count().value());
    EXPECT_EQ(7, session().adapter_count().value());
    EXPECT_EQ(0, session().site_count().value());
    EXPECT_EQ(2, session().adapter_count_of_node(3).value());
    EXPECT_TRUE(session().adapter_count_of_node(6).error() == HB_ERROR_NODE_NOT_CONFIGURED);
}

TEST_F(CompanionSession, LooksUpNodesAndAdapters) {
    EXPECT_EQ(1, session().local_node().value());
    EXPECT_EQ(3, session().node_of_adapter(7).value());
    EXPECT_EQ(7U, session().adapter_of_node(3, 1).value());
    EXPECT_EQ("eth1", session().type_of_adapter(7).value().str());
    EXPECT_EQ("2001:db8::3", session().address_of_adapter(7)->to_string());
    EXPECT_EQ("10.1.0.2", session().address_of_adapter(4)->to_string());
    EXPECT_EQ(4U, session().adapter_at(*hb::address::parse("10.1.0.2")).value());
}

TEST_F(CompanionSession, LooksUpNetworks) {
    EXPECT_EQ(session().name_of_network(0).value(), "net_a");
    EXPECT_EQ(session().type_of_network(1).value(), "token");
    EXPECT_EQ(1, session().network_called("net_b").value());
}

TEST_F(CompanionSession, SaysWhyALookUpFails) {
    EXPECT_TRUE(session().node_of_adapter(9).error() == HB_ERROR_ADAPTER_NOT_CONFIGURED);
    EXPECT_TRUE(session().type_of_adapter(99).error() == HB_ERROR_BAD_ARGUMENT);
    EXPECT_TRUE(session().adapter_of_node(4, 1).error() == HB_ERROR_ADAPTER_NOT_CONFIGURED);
    EXPECT_TRUE(session().adapter_at(hb::address()).error() == HB_ERROR_ADAPTER_NOT_CONFIGURED);
    EXPECT_TRUE(session().name_of_network(7).error() == HB_ERROR_BAD_ARGUMENT);
    EXPECT_TRUE(session().network_called("net_c").error() == HB_ERROR_NETWORK_NOT_CONFIGURED);
    EXPECT_TRUE(session().network_called(std::string(70, 'n')).error() == HB_ERROR_NETWORK_NOT_CONFIGURED);
}

// ---- Requests ----

TEST_F(CompanionSession, AsksTheDaemonAboutItsAdapters) {
    EXPECT_EQ(hb::entity_state::up, session().state_of_adapter(3).value());
    EXPECT_TRUE(session().disable_adapter(3));
    EXPECT_EQ(hb::entity_state::down, session().state_of_adapter(3).value());
    EXPECT_TRUE(session().enable_adapter(3));
    EXPECT_EQ(hb::entity_state::up, session().state_of_adapter(3).value());
    EXPECT_TRUE(session().interface_set_down(3));
    EXPECT_EQ(hb::entity_state::down, session().state_of_adapter(3).value());
    EXPECT_TRUE(session().interface_set_up(3));
    EXPECT_EQ(hb::entity_state::up, session().state_of_adapter(3).value());
    EXPECT_TRUE(session().adapter_is_down(3));
    EXPECT_EQ(hb::entity_state::down, session().state_of_adapter(3).value());
}

TEST_F(CompanionSession, GivesGraceAndAddresses) {
    EXPECT_TRUE(session().give_grace(2, std::chrono::minutes(1)));
    EXPECT_TRUE(session().give_grace(2, std::chrono::seconds(5)).error() == HB_ERROR_GRACE_RUNNING);
    EXPECT_TRUE(session().give_grace(3, std::chrono::hours(2)).error() == HB_ERROR_GRACE_OUT_OF_RANGE);
    EXPECT_TRUE(session().give_grace(3, std::chrono::hours::max() / 4000).error() ==
                HB_ERROR_GRACE_OUT_OF_RANGE)
        << "a time that no int can hold must not become a short one";
    EXPECT_TRUE(session().configure_adapter(3, *hb::address::parse("10.1.0.2")->v4()).error() ==
                HB_ERROR_ADDRESS_IN_USE);
    EXPECT_TRUE(session().configure_adapter(3, *hb::address::parse("224.0.0.1")->v4()).error() ==
                HB_ERROR_ADDRESS_UNSUITABLE);
    EXPECT_TRUE(session().unconfigure_adapter(3));
    EXPECT_TRUE(session().configure_adapter(3, *hb::address::parse("10.2.0.1")->v4()));
    EXPECT_TRUE(session().swap_adapters(2, *hb::address::parse("10.2.0.1")->v4()));
}

TEST_F(CompanionSession, SendsWhatHasNoAnswer) {
    EXPECT_TRUE(session().node_may_be_down(3));
    EXPECT_TRUE(session().adapter_may_be_down(5));
    EXPECT_TRUE(session().heartbeat(17));
    EXPECT_TRUE(session().discard_stale_messages(true));
    EXPECT_TRUE(session().control_module_manually("eth1", true));
    // This is answered after all those requests.
    EXPECT_TRUE(session().state_of_adapter(2));
    const std::string state = daemon.tell(R"({"do":"state"})");
    EXPECT_NE(std::string::npos, state.find(R"("discard_stale_messages":true)")) << state;
    EXPECT_NE(std::string::npos, state.find(R"("heartbeat":17)")) << state;
    EXPECT_NE(std::string::npos, state.find(R"(["eth1"])")) << state;
    EXPECT_TRUE(session().node_is_down(8).error() == HB_ERROR_BAD_ARGUMENT);
    EXPECT_TRUE(session().enable_adapter(4).error() == HB_ERROR_BAD_ARGUMENT) << "adapter of another node";
}

TEST_F(CompanionSession, AsksTheDaemonToEnd) {
    ASSERT_TRUE(daemon.stop());
    daemon.write_configuration(small_cluster_file() + "\n[daemon]\nshutdown_delay_seconds = 0.1\n");
    ASSERT_TRUE(daemon.start());
    ASSERT_TRUE(session().reopen());
    EXPECT_TRUE(session().end_daemon_after_delay());
    EXPECT_TRUE(daemon.wait_stopped());
}

// ---- Life ----

TEST_F(CompanionSession, MovesAndIsClosedAfterwards) {
    hb::session moved = std::move(session());
    EXPECT_TRUE(moved.is_open());
    EXPECT_EQ(1, moved.local_node().value());
    EXPECT_FALSE(session().is_open());
    EXPECT_TRUE(session().local_node().error() == HB_ERROR_NOT_OPEN);
    session().close();
    EXPECT_EQ(1, moved.local_node().value()) << "closing what was moved from closes nothing";
    session() = std::move(moved);
    EXPECT_EQ(1, session().local_node().value());
    EXPECT_FALSE(moved.is_open());
}

TEST_F(CompanionSession, ThatIsClosedAnswersNothingAndDoesNotOpenAgain) {
    ASSERT_TRUE(
        wait_until([&] { return daemon.tell(R"({"do":"state"})").find("\"pid\"") != std::string::npos; }));
    session().close();
    EXPECT_FALSE(session().is_open());
    EXPECT_TRUE(session().nodes().empty());
    EXPECT_TRUE(session().adapters_of_node(1).empty());
    EXPECT_TRUE(session().node_count().error() == HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(session().network_called("net_a").error() == HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(session().network_called(std::string(70, 'n')).error() == HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(session().enable_adapter(3).error() == HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(session().give_grace(3, std::chrono::hours::max() / 4000).error() == HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(session().subscribe("n", hb::subscription(), hb::event_mask::death).error() ==
                HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(hb::subscription::all_nodes(session()).error() == HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(hb::event_source::open(session()).error() == HB_ERROR_NOT_OPEN);
    session().close();
    EXPECT_TRUE(wait_until([&] {
        return daemon.tell(R"({"do":"state"})").find("\"pid\"") == std::string::npos;
    })) << "the library must not be connected: "
        << daemon.tell(R"({"do":"state"})");
}

TEST_F(CompanionSession, ReopensAfterTheDaemonHasStartedAgain) {
    ASSERT_TRUE(daemon.stop());
    EXPECT_TRUE(session().reopen().error() == HB_ERROR_CONNECT_FAILED);
    EXPECT_FALSE(session().is_open());
    daemon.write_configuration(replaced(small_cluster_file(), "local_node = 1", "local_node = 2"));
    ASSERT_TRUE(daemon.start());
    ASSERT_TRUE(session().reopen());
    EXPECT_EQ(2, session().local_node().value());
}

} // namespace
} // namespace hb_test
