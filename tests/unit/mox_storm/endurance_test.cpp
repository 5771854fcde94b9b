// SPDX-License-Identifier: Apache-2.0
// A hundred thousand events leak nothing.
#include <poll.h>
#include <vector>

#include <gtest/gtest.h>

#include "hb_client.h"
#include "lib/hb_global_data/event_queue.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"
#include "tests/unit/cluster_events/cluster.h"

namespace hb_test {
namespace {

#if defined(HB_ADDRESS_SANITIZER)
constexpr int DIVISOR = 20; // an event takes many times longer
#else
constexpr int DIVISOR = 1;
#endif

// Node 2 dies and returns (three events each). Its eth0 fails and is repaired. Two messages from the local node
// arrive, which are no news. Together ten calls that read an event.
constexpr int EVENTS_IN_A_ROUND = 10;
constexpr int ROUNDS = 100000 / EVENTS_IN_A_ROUND / DIVISOR;

class Long_Run {
  public:
    void open() {
        client_.open();
        ASSERT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors_, &count_));
    }
    ~Long_Run() { hb_free_file_descriptor_array(descriptors_); }

    void round() {
        client_.service.node_down(2);
        take(1, 3);
        client_.service.node_up(2);
        take(2, 3);
        client_.service.interface_down(2, "eth0");
        take(1, 1);
        client_.service.interface_up(2, "eth0");
        take(2, 1);
        hb_mox_msg_received_from(1);
        take(0, 1);
        hb_mox_msg_received_from(1);
        take(0, 1);
    }

    int taken() const { return taken_; }
    const mox_sim::Simulated_Service &service() const { return client_.service; }

  private:
    // Makes that many calls, of which the first returns this event.
    void take(int event, int calls) {
        for (int call = 0; call < calls; ++call) {
            std::vector<pollfd> waiting;
            for (int i = 0; i < count_; ++i) {
                waiting.push_back({descriptors_[i], POLLIN, 0});
            }
            ASSERT_LT(0, poll(waiting.data(), waiting.size(), 0)) << "call " << call;
            int ready[2] = {-1, -1};
            for (const pollfd &each : waiting) {
                if (each.revents != 0 && ready[0] == -1) {
                    ready[0] = each.fd;
                }
            }
            Hb_Name name = {};
            int events = -1;
            unsigned long sequence = 0;
            ASSERT_EQ(Hb_Success,
                      hb_get_event_message(ready, nullptr, &events, name, client_.group.get(), &sequence));
            if (call == 0) {
                ASSERT_EQ(event, events);
            }
            ++taken_;
        }
    }

    Cluster_Client client_;
    int *descriptors_ = nullptr;
    int count_ = 0;
    int taken_ = 0;
};

ISOLATED_TEST(Endurance, NothingGrowsOverAHundredThousandEvents) {
    Long_Run run;
    run.open();
    for (int round = 0; round < 20; ++round) {
        run.round();
    }
    const std::size_t bytes = allocated_bytes();
    const int descriptors = open_descriptors();
    for (int round = 0; round < ROUNDS && !testing::Test::HasFailure(); ++round) {
        run.round();
    }
    EXPECT_EQ(EVENTS_IN_A_ROUND * (ROUNDS + 20), run.taken());
    EXPECT_EQ(1, MOX_event_queue_is_empty());
    EXPECT_EQ(descriptors, open_descriptors());
    EXPECT_EQ(1, running_threads());
    EXPECT_EQ(0, run.service().lists_out());
    EXPECT_EQ(0, run.service().events_out());
    // A leaked event would be 393 KB, and one byte for each event 100 KB.
    EXPECT_LT(allocated_bytes(), bytes + 50000);
}

ISOLATED_TEST(Endurance, MessagesThatAreReadLateAreKeptForTheNextOnes) {
    constexpr int HELD = 200;
    Long_Run run;
    run.open();
    run.round();
    const auto group = std::make_unique<Hb_Group>();
    const auto send_and_read_all = [&] {
        for (int i = 0; i < HELD; ++i) {
            ASSERT_EQ(Hb_Success, hb_mox_msg_received_from(3));
        }
        Hb_Name name = {};
        int events = -1;
        unsigned long sequence = 0;
        int any[] = {0, -1};
        for (int i = 0; i < HELD; ++i) {
            ASSERT_EQ(Hb_Success, hb_get_event_message(any, nullptr, &events, name, group.get(), &sequence));
            ASSERT_EQ(0, events);
        }
        EXPECT_EQ(1, MOX_event_queue_is_empty());
    };
    send_and_read_all();
    const std::size_t bytes = allocated_bytes();
    for (int i = 0; i < 10; ++i) {
        send_and_read_all();
    }
    EXPECT_LT(allocated_bytes(), bytes + 50000) << "no event more than were queued at once";
}

} // namespace
} // namespace hb_test
