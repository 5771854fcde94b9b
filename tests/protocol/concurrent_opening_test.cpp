// SPDX-License-Identifier: Apache-2.0
// Several threads use the library for the first time at once. One opens it; the others wait, and then find it
// open or try to open it themselves.
#include <atomic>
#include <csignal>
#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "hb_client.h"
#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"

namespace hb_test {
namespace {

constexpr int THREADS = 8;
constexpr int ROUNDS = 200;

struct Round {
    std::atomic<int> entered{0};
    std::atomic<int> opened{0};
    std::atomic<int> failed{0};
    std::atomic<int> wrong{0};
};

// The thread's first call to the library; each number selects another entry.
bool enter(int entry) {
    switch (entry % 4) {
    case 0:
        return hb_init() == Hb_Success;
    case 1: {
        int count = 0;
        return hb_get_number_of_configured_adapters(&count) == Hb_Success && count == 5;
    }
    case 2: {
        Hb_Node_Number node = -1;
        return hb_get_my_node_number(&node) == Hb_Success && node == 1;
    }
    default: {
        int *descriptors = nullptr;
        int count = 0;
        return hb_get_file_descriptor_array(&descriptors, &count) == Hb_Success &&
               hb_free_file_descriptor_array(descriptors) == Hb_Success;
    }
    }
}

// All threads enter at once. Each thread that fails has the given error.
void open_at_once(Round &round, int error_of_failure) {
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&round, i, error_of_failure] {
            ++round.entered;
            while (round.entered < THREADS) {
                std::this_thread::yield();
            }
            if (enter(i)) {
                ++round.opened;
            } else {
                ++round.failed;
                round.wrong += hb_get_errno() == error_of_failure ? 0 : 1;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

ISOLATED_TEST(ConcurrentOpening, ConnectsOnceToAFastDaemon) {
    Fake_Daemon daemon;
    const int descriptors = open_descriptors();
    for (int i = 1; i <= ROUNDS; ++i) {
        Round round;
        open_at_once(round, 0);
        ASSERT_EQ(THREADS, round.opened);
        ASSERT_EQ(i, daemon.connections());
        ASSERT_EQ(80U, daemon.received().size()) << "one request";
        ASSERT_EQ(Hb_Success, hb_terminate());
        ASSERT_TRUE(daemon.wait_connections_ended(i));
        daemon.forget_received();
    }
    EXPECT_TRUE(wait_until([descriptors] { return open_descriptors() == descriptors; }));
}

ISOLATED_TEST(ConcurrentOpening, ConnectsOnceToASlowDaemon) {
    std::atomic<Round *> current{nullptr};
    std::atomic<int> polls{0};
    Fake_Daemon_Plan plan;
    // The daemon answers only after every thread has entered and several of its polls have passed. By then the
    // other threads are far into their calls.
    const auto all_wait = [&] {
        Round *round = current.load();
        return round != nullptr && round->entered == THREADS && ++polls % 5 == 0;
    };
    plan.connections = {{read_record(), wait_for(all_wait), send_record(reply(0, snapshot(small_cluster())))}};
    Fake_Daemon daemon(plan);
    for (int i = 1; i <= ROUNDS; ++i) {
        Round round;
        current = &round;
        open_at_once(round, 0);
        current = nullptr;
        ASSERT_EQ(THREADS, round.opened);
        ASSERT_EQ(i, daemon.connections());
        ASSERT_EQ(Hb_Success, hb_terminate());
        ASSERT_TRUE(daemon.wait_connections_ended(i));
        daemon.forget_received();
    }
}

// Three attempts fail, each in another thread, since no thread uses another's failure. The fourth opens for
// all.
ISOLATED_TEST(ConcurrentOpening, IsTriedByEachThreadWhileTheDaemonDies) {
    signal(SIGPIPE, SIG_IGN);
    Fake_Daemon_Plan plan;
    plan.connections.clear();
    for (int i = 0; i < ROUNDS; ++i) {
        for (int death = 0; death < 3; ++death) {
            plan.connections.push_back({read_record(), hang_up()});
        }
        plan.connections.push_back(serve_configuration(snapshot(small_cluster())));
    }
    Fake_Daemon daemon(plan);
    for (int i = 1; i <= ROUNDS; ++i) {
        Round round;
        open_at_once(round, 16);
        ASSERT_EQ(3, round.failed);
        ASSERT_EQ(THREADS - 3, round.opened);
        ASSERT_EQ(0, round.wrong);
        ASSERT_EQ(4 * i, daemon.connections());
        ASSERT_EQ(Hb_Success, hb_terminate());
        ASSERT_TRUE(daemon.wait_connections_ended(4 * i));
        daemon.forget_received();
    }
}

ISOLATED_TEST(ConcurrentOpening, FailsInEveryThreadWithoutADaemon) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    for (int i = 1; i <= ROUNDS; ++i) {
        Round round;
        open_at_once(round, 15);
        ASSERT_EQ(THREADS, round.failed);
        ASSERT_EQ(0, round.wrong);
    }
}

ISOLATED_TEST(ConcurrentOpening, RegistersTracingInEveryThreadThatAsks) {
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([] { hbc_initialize_trace_once(); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(0, hb_get_errno());
}

} // namespace
} // namespace hb_test
