// SPDX-License-Identifier: Apache-2.0
// hb::event_source and the types of hb::event with a real daemon.
#include <csignal>
#include <sys/time.h>

#include "tests/companion/cluster.h"

namespace hb_test {
namespace {

using Numbers = std::vector<long>;
using namespace std::chrono_literals;

class CompanionEvents : public SmallCluster {
  protected:
    void SetUp() override {
        SmallCluster::SetUp();
        opened = hb::session::open();
        ASSERT_TRUE(opened) << opened.error().text();
        source = hb::event_source::open(session());
        ASSERT_TRUE(source) << source.error().text();
    }

    // Subscribes to everything, and reads the two events with all members.
    void subscribe() {
        using mask = hb::event_mask;
        ASSERT_TRUE(session().subscribe("i", hb::subscription(), mask::different_instance));
        ASSERT_TRUE(session().subscribe("n", *hb::subscription::all_nodes(session()),
                                        mask::death | mask::join | mask::group | mask::heartbeat));
        ASSERT_TRUE(session().subscribe("a", *hb::subscription::all_adapters(session()),
                                        mask::death | mask::join | mask::group));
        ASSERT_TRUE(next_event<hb::events::node_group>(*source));
        ASSERT_TRUE(next_event<hb::events::adapter_group>(*source));
    }

    hb::session &session() { return *opened; }

    hb::result<hb::session> opened = hb::error(HB_ERROR_NOT_OPEN);
    hb::result<hb::event_source> source = hb::error(HB_ERROR_NOT_OPEN);
};

TEST_F(CompanionEvents, BeginWithAllMembersThatAreUp) {
    using mask = hb::event_mask;
    ASSERT_TRUE(session().subscribe("n", *hb::subscription::all_nodes(session()), mask::group));
    const auto nodes = next_event<hb::events::node_group>(*source);
    ASSERT_TRUE(nodes);
    EXPECT_EQ("n", nodes->subscription());
    EXPECT_EQ(1U, nodes->sequence());
    EXPECT_TRUE(nodes->is_stable());
    EXPECT_EQ((Numbers{1, 2, 3}), numbers_of(nodes->nodes()));
    EXPECT_EQ((Numbers{1, 2, 3}), numbers_of(nodes->nodes())) << "a range can be read again";

    ASSERT_TRUE(session().subscribe("a", *hb::subscription::all_adapters(session()), mask::group));
    const auto adapters = next_event<hb::events::adapter_group>(*source);
    ASSERT_TRUE(adapters);
    EXPECT_EQ(2U, adapters->sequence());
    EXPECT_EQ((Numbers{2, 3, 4, 5, 6, 7}), numbers_of(adapters->adapters()));
    EXPECT_EQ(2U, adapters->leader());
    EXPECT_EQ(1U, adapters->incarnation());
    EXPECT_TRUE(adapters->is_stable());
}

TEST_F(CompanionEvents, ReportTheDeathAndJoinOfANodeWithItsAdapters) {
    subscribe();
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    const auto adapters_died = next_event<hb::events::adapter_death>(*source);
    ASSERT_TRUE(adapters_died);
    EXPECT_EQ((Numbers{6, 7}), numbers_of(adapters_died->adapters()));
    EXPECT_FALSE(adapters_died->adapters().begin()->is_removed);
    const auto node_died = next_event<hb::events::node_death>(*source);
    ASSERT_TRUE(node_died);
    EXPECT_EQ((Numbers{3}), numbers_of(node_died->nodes()));
    EXPECT_FALSE(node_died->failure().empty());
    EXPECT_EQ("n", node_died->subscription());
    EXPECT_EQ(4U, node_died->sequence());

    ASSERT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    const auto adapters_joined = next_event<hb::events::adapter_join>(*source);
    ASSERT_TRUE(adapters_joined);
    EXPECT_EQ((Numbers{6, 7}), numbers_of(adapters_joined->adapters()));
    EXPECT_EQ(2U, adapters_joined->adapters().begin()->incarnation);
    const auto node_joined = next_event<hb::events::node_join>(*source);
    ASSERT_TRUE(node_joined);
    EXPECT_EQ((Numbers{3}), numbers_of(node_joined->nodes()));
    EXPECT_TRUE(node_joined->failure().empty());
}

TEST_F(CompanionEvents, ReportThatTheConfigurationChanged) {
    subscribe();
    ASSERT_TRUE(daemon.tells(R"({"do":"adapter-leave","adapter":5})"));
    const auto died = next_event<hb::events::adapter_death>(*source);
    ASSERT_TRUE(died);
    EXPECT_EQ((Numbers{5}), numbers_of(died->adapters()));
    EXPECT_TRUE(died->adapters().begin()->is_removed);
    const auto changed = next_event<hb::events::configuration_changed>(*source);
    ASSERT_TRUE(changed);
    EXPECT_EQ(HB_EVENT_NAME_CONFIG, changed->subscription());
    EXPECT_EQ((Numbers{2, 3, 4, 6, 7, 8}), numbers_of(session().adapters()));
}

TEST_F(CompanionEvents, ReportNotices) {
    subscribe();
    ASSERT_TRUE(daemon.tells(R"({"do":"ffdc","id":"the disk of node 3 is full"})"));
    const auto notice = next_event<hb::events::failure_identifier>(*source);
    ASSERT_TRUE(notice);
    EXPECT_EQ("the disk of node 3 is full", notice->failure());
    EXPECT_EQ(HB_EVENT_NAME_FFDC, notice->subscription());

    ASSERT_TRUE(daemon.tells(R"({"do":"foreign-instance","address":"10.9.0.1","instance":4294967295})"));
    const auto foreign = next_event<hb::events::different_instance>(*source);
    ASSERT_TRUE(foreign);
    EXPECT_EQ("10.9.0.1", foreign->sender().to_string());
    EXPECT_EQ(4294967295U, foreign->instance());
    EXPECT_EQ("i", foreign->subscription());

    ASSERT_TRUE(daemon.tells(R"({"do":"heartbeat","threshold_seconds":2,"threshold_microseconds":500000})"));
    const auto heartbeat = next_event<hb::events::heartbeat>(*source);
    ASSERT_TRUE(heartbeat);
    EXPECT_EQ(2500ms, heartbeat->threshold());
    EXPECT_TRUE(heartbeat->is_enabled());
    EXPECT_EQ(daemon.pid(), heartbeat->daemon_process());
}

// ---- Records that no daemon in a test sends ----

TEST(CompanionEventTypes, OfSitesReadTheirSideOfTheRecord) {
    auto record = std::make_unique<hb::detail::event_record>();
    auto &merge = record->group.Hb_membership_grp_union.site_merge_info;
    merge.num_local_up_nodes = 3;
    merge.num_remote_up_nodes = 2;
    merge.remote_site.site_number = 7;
    const hb::event merged = hb::detail::event_of(HB_EVENT_SITE_MERGE, *record);
    ASSERT_TRUE(std::holds_alternative<hb::events::site_merge>(merged));
    EXPECT_EQ(3U, std::get<hb::events::site_merge>(merged).local_nodes_up());
    EXPECT_EQ(2U, std::get<hb::events::site_merge>(merged).remote_nodes_up());
    EXPECT_EQ(7U, std::get<hb::events::site_merge>(merged).remote_site().site_number);

    record->group.Hb_membership_grp_union.site_split_info.local_site.site_number = 5;
    const hb::event split = hb::detail::event_of(HB_EVENT_SITE_SPLIT, *record);
    ASSERT_TRUE(std::holds_alternative<hb::events::site_split>(split));
    EXPECT_EQ(5U, std::get<hb::events::site_split>(split).local_site().site_number);
}

TEST(CompanionEventTypes, IncludeNothingAndWhatHasNoTypeOfItsOwn) {
    auto record = std::make_unique<hb::detail::event_record>();
    EXPECT_TRUE(std::holds_alternative<hb::events::nothing>(hb::detail::event_of(HB_EVENT_NONE, *record)));
    record->group.Hb_group_type = Hb_Repository_Disk_Type;
    const hb::event disk = hb::detail::event_of(HB_EVENT_DEATH, *record);
    ASSERT_TRUE(std::holds_alternative<hb::events::other>(disk));
    EXPECT_EQ(HB_EVENT_DEATH, std::get<hb::events::other>(disk).kind());
    EXPECT_EQ(Hb_Repository_Disk_Type, std::get<hb::events::other>(disk).native().Hb_group_type);
    EXPECT_EQ(16, std::get<hb::events::other>(hb::detail::event_of(16, *record)).kind());
}

// ---- The source ----

TEST_F(CompanionEvents, AreReadWithoutWaitingWhenTheDescriptorIsReadable) {
    subscribe();
    EXPECT_FALSE(source->next().value().has_value());
    ASSERT_EQ(1U, source->descriptors().size());
    EXPECT_FALSE(wait_readable(source->descriptors()[0], Deadline(0ms)));
    ASSERT_TRUE(daemon.tells(R"({"do":"ffdc","id":"x"})"));
    ASSERT_TRUE(wait_readable(source->descriptors()[0]));
    EXPECT_TRUE(source->next().value().has_value());
}

TEST_F(CompanionEvents, AreWaitedForOnlyUntilTheTimeIsOver) {
    subscribe();
    EXPECT_FALSE(source->wait(1ms).value().has_value());
    EXPECT_FALSE(source->wait(-1s).value().has_value());
    ASSERT_TRUE(daemon.tells(R"({"do":"ffdc","id":"x"})"));
    const hb::result<hb::event> event = source->wait();
    ASSERT_TRUE(event);
    EXPECT_TRUE(std::holds_alternative<hb::events::failure_identifier>(*event));
}

TEST_F(CompanionEvents, AreWaitedForUntilASignalHandlerRuns) {
    subscribe();
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(0, sigaction(SIGALRM, &action, &before));
    // Again and again, since the first signal may come before the wait.
    const itimerval often = {{0, 10'000}, {0, 10'000}};
    ASSERT_EQ(0, setitimer(ITIMER_REAL, &often, nullptr));
    const hb::result<std::optional<hb::event>> interrupted = source->wait(GENEROUS);
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    ASSERT_FALSE(interrupted);
    EXPECT_TRUE(interrupted.error().is_interruption());
    ASSERT_TRUE(daemon.tells(R"({"do":"ffdc","id":"x"})"));
    EXPECT_TRUE(next_event<hb::events::failure_identifier>(*source)) << "nothing was lost";
}

TEST_F(CompanionEvents, EndWhenTheDaemonEndsAndGoOnAfterReopening) {
    subscribe();
    ASSERT_TRUE(daemon.stop());
    const hb::result<hb::event> lost = source->wait();
    ASSERT_FALSE(lost);
    EXPECT_TRUE(lost.error() == HB_ERROR_DISCONNECTED);
    ASSERT_TRUE(daemon.start());
    ASSERT_TRUE(session().reopen());
    ASSERT_TRUE(source->refresh());
    subscribe();
    ASSERT_TRUE(daemon.tells(R"({"do":"ffdc","id":"x"})"));
    EXPECT_TRUE(next_event<hb::events::failure_identifier>(*source));
}

TEST_F(CompanionEvents, AreNotReadBySourcesThatWereMovedFrom) {
    hb::event_source moved = std::move(*source);
    EXPECT_EQ(0U, source->descriptors().size());
    EXPECT_TRUE(source->next().error() == HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(source->wait().error() == HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(source->refresh().error() == HB_ERROR_NOT_OPEN);
    *source = std::move(moved);
    EXPECT_EQ(0U, moved.descriptors().size());
    subscribe();
}

} // namespace
} // namespace hb_test
