// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "exporter/event_stream.h"

namespace exporter {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::chrono::milliseconds STALE{1500}; // long beside a pause of a busy machine
constexpr std::chrono::hours LONG{1};

Snapshot snapshot_with(State state, std::uint64_t changes) {
    const auto cluster = std::make_shared<Cluster>();
    cluster->nodes = {1};
    Snapshot snapshot;
    snapshot.cluster = cluster;
    snapshot.nodes = {state};
    snapshot.connected = true;
    snapshot.nodes_reported = true;
    snapshot.adapters_reported = true;
    snapshot.last_contact = std::chrono::steady_clock::now();
    snapshot.changes = changes;
    return snapshot;
}

class Stream {
  public:
    explicit Stream(const std::shared_ptr<Page_Feed> &feed) : stream_(feed, nullptr) {}

    // Returns the next text that is not a beat.
    std::string next() {
        for (;;) {
            std::string text;
            stream_.proceed([&text](const std::string &written) {
                text = written;
                return true;
            });
            if (!text.empty() && !text.starts_with("event: beat")) {
                return text;
            }
        }
    }

    std::string any() {
        std::string text;
        while (text.empty()) {
            stream_.proceed([&text](const std::string &written) {
                text = written;
                return true;
            });
        }
        return text;
    }

  private:
    Event_Stream stream_;
};

TEST(EventStream, BeginsWithTheConfigurationAndTheStates) {
    const auto board = std::make_shared<Snapshot_Board>();
    board->publish(snapshot_with(State::up, 1));
    Stream stream(std::make_shared<Page_Feed>(board, LONG));
    EXPECT_THAT(stream.next(), AllOf(StartsWith("retry: 1000\n\nevent: cluster\ndata: {"),
                                     HasSubstr("}\n\nevent: state\ndata: {"), HasSubstr("\"nodes\":\"u\"")));
}

TEST(EventStream, SendsTheConfigurationAgainOnlyWhenItDiffers) {
    const auto board = std::make_shared<Snapshot_Board>();
    board->publish(snapshot_with(State::up, 1));
    Stream stream(std::make_shared<Page_Feed>(board, LONG));
    stream.next();
    board->publish(snapshot_with(State::down, 2)); // read again, and the same
    EXPECT_THAT(stream.next(), AllOf(StartsWith("event: state\n"), HasSubstr("\"nodes\":\"d\"")));
    Snapshot larger = snapshot_with(State::up, 3);
    const auto cluster = std::make_shared<Cluster>();
    cluster->nodes = {1, 2};
    set_cluster(larger, cluster);
    board->publish(larger);
    EXPECT_THAT(stream.next(), AllOf(StartsWith("event: cluster\n"), HasSubstr("\"nodes\":\"ud\"")));
}

TEST(EventStream, JoinsChangesThatFollowEachOther) {
    const auto board = std::make_shared<Snapshot_Board>();
    board->publish(snapshot_with(State::up, 1));
    Stream stream(std::make_shared<Page_Feed>(board, LONG));
    stream.next();
    for (std::uint64_t change = 2; change < 100; ++change) {
        board->publish(snapshot_with(change % 2 == 0 ? State::down : State::up, change));
    }
    board->publish(snapshot_with(State::down, 100));
    EXPECT_THAT(stream.next(), HasSubstr("\"nodes\":\"d\""));
    EXPECT_THAT(stream.any(), StartsWith("event: beat\n")) << "nothing is left of the changes";
}

// Nothing is published when wispd stops.
TEST(EventStream, ReportsALostContactByItself) {
    const auto board = std::make_shared<Snapshot_Board>();
    board->publish(snapshot_with(State::up, 1));
    Stream stream(std::make_shared<Page_Feed>(board, STALE));
    stream.next();
    EXPECT_THAT(stream.next(), AllOf(HasSubstr("\"up\":false"), HasSubstr("\"nodes\":\"?\"")));
    board->publish(snapshot_with(State::up, 1)); // a later contact is no other change
    EXPECT_THAT(stream.next(), AllOf(HasSubstr("\"up\":true"), HasSubstr("\"nodes\":\"u\"")));
}

TEST(EventStream, EndsWhenItsViewerIsDisconnected) {
    const auto board = std::make_shared<Snapshot_Board>();
    Event_Stream stream(std::make_shared<Page_Feed>(board, LONG), nullptr);
    EXPECT_FALSE(stream.proceed([](const std::string &) { return false; }));
}

TEST(EventStream, ViewersShareOneText) {
    const auto board = std::make_shared<Snapshot_Board>();
    board->publish(snapshot_with(State::up, 1));
    Page_Feed feed(board, LONG);
    EXPECT_EQ(feed.latest()->state, feed.latest()->state);
}

TEST(ViewerLimit, AdmitsSoManyAndFreesTheirPlaces) {
    const auto limit = std::make_shared<Viewer_Limit>(2);
    std::shared_ptr<void> one = limit->enter();
    const std::shared_ptr<void> two = limit->enter();
    EXPECT_TRUE(one);
    EXPECT_TRUE(two);
    EXPECT_FALSE(limit->enter());
    EXPECT_FALSE(limit->enter());
    one.reset();
    EXPECT_TRUE(limit->enter());
}

} // namespace
} // namespace exporter
