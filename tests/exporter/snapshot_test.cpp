// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "exporter/snapshot.h"
#include "exporter/snapshot_board.h"

namespace exporter {
namespace {

using testing::ElementsAre;

constexpr std::chrono::seconds STALE{3};
const Steady_Time NOW{std::chrono::hours(1)};

std::shared_ptr<const Cluster> cluster_of(const std::vector<int> &nodes, const std::vector<Adapter> &adapters) {
    const auto cluster = std::make_shared<Cluster>();
    cluster->nodes = nodes;
    cluster->adapters = adapters;
    return cluster;
}

Snapshot healthy() {
    Snapshot snapshot;
    snapshot.connected = true;
    snapshot.nodes_reported = true;
    snapshot.adapters_reported = true;
    snapshot.last_contact = NOW - STALE;
    return snapshot;
}

TEST(ExporterSnapshot, IsUpOnlyWhileAConnectedDaemonHasReportedAndAnswers) {
    EXPECT_TRUE(is_up(healthy(), NOW, STALE));
    EXPECT_FALSE(is_up(healthy(), NOW + std::chrono::milliseconds(1), STALE));
    EXPECT_FALSE(is_up(Snapshot{}, NOW, STALE));
    Snapshot without = healthy();
    without.connected = false;
    EXPECT_FALSE(is_up(without, NOW, STALE));
    without = healthy();
    without.nodes_reported = false;
    EXPECT_FALSE(is_up(without, NOW, STALE));
    without = healthy();
    without.adapters_reported = false;
    EXPECT_FALSE(is_up(without, NOW, STALE));
}

TEST(ExporterSnapshot, SetsTheStatesOfConfiguredMembersOnly) {
    Snapshot snapshot = healthy();
    set_cluster(snapshot, cluster_of({1, 5, 9}, {{2, 1, 0, "", ""}, {11, 5, 1, "", ""}}));
    set_nodes(snapshot, {9, 1, 7}, State::up);
    set_adapters(snapshot, {11, 12}, State::up);
    EXPECT_THAT(snapshot.nodes, ElementsAre(State::up, State::down, State::up));
    EXPECT_THAT(snapshot.adapters, ElementsAre(State::down, State::up));
    set_nodes(snapshot, {1}, State::down);
    EXPECT_THAT(snapshot.nodes, ElementsAre(State::down, State::down, State::up));
}

TEST(ExporterSnapshot, StatesFollowTheirNodesIntoAnotherConfiguration) {
    Snapshot snapshot = healthy();
    set_cluster(snapshot, cluster_of({1, 5}, {{2, 1, 0, "", ""}}));
    set_nodes(snapshot, {5}, State::up);
    set_adapters(snapshot, {2}, State::up);
    set_cluster(snapshot, cluster_of({0, 1, 5, 6}, {{1, 0, 0, "", ""}, {2, 1, 0, "", ""}}));
    EXPECT_THAT(snapshot.nodes, ElementsAre(State::down, State::down, State::up, State::down));
    EXPECT_THAT(snapshot.adapters, ElementsAre(State::down, State::up));
}

TEST(ExporterSnapshot, NewNodesAreUnknownBeforeTheFirstReport) {
    Snapshot snapshot;
    set_cluster(snapshot, cluster_of({1}, {{2, 1, 0, "", ""}}));
    EXPECT_THAT(snapshot.nodes, ElementsAre(State::unknown));
    EXPECT_THAT(snapshot.adapters, ElementsAre(State::unknown));
}

TEST(ExporterSequence, FindsEachGapOnceAndStartsAgainWithAConnection) {
    Sequence_Check check;
    EXPECT_TRUE(check.follows(1));
    EXPECT_TRUE(check.follows(2));
    EXPECT_FALSE(check.follows(4));
    EXPECT_TRUE(check.follows(5));
    check.start_connection();
    EXPECT_TRUE(check.follows(1));
    check.start_connection();
    EXPECT_FALSE(check.follows(2));
}

TEST(ExporterBoard, KeepsWhatAReaderHoldsAndWaitsForAConditionOrATime) {
    Snapshot_Board board;
    Snapshot snapshot;
    snapshot.changes = 1;
    board.publish(snapshot);
    const auto held = board.latest();
    snapshot.changes = 2;
    board.publish(snapshot);
    EXPECT_EQ(held->changes, 1u);
    const auto has_two = [](const Snapshot &one) { return one.changes == 2; };
    const auto has_three = [](const Snapshot &one) { return one.changes == 3; };
    const Steady_Time now = std::chrono::steady_clock::now();
    EXPECT_EQ(board.wait_for(has_two, now + std::chrono::hours(1))->changes, 2u);
    EXPECT_EQ(board.wait_for(has_three, now)->changes, 2u);
}

} // namespace
} // namespace exporter
