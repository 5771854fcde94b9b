// SPDX-License-Identifier: Apache-2.0
// A thread that is cancelled while it holds the queue leaves the queue unlocked and complete.
#include <array>
#include <fcntl.h>
#include <memory>
#include <pthread.h>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/mox/handlers/MOX_ORBFSEventPipeHandler.h"
#include "lib/mox/handlers/event_pipe.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/deadline.h"

// Replaces the trace library's function: here a thread that traces the queue can be cancelled.
namespace {
thread_local bool cancelled_when_tracing = false;
}
void tr_ms_record_values_32_1(const char *, uint32_t, tr_file_token_t, uint32_t, ...) {
    if (cancelled_when_tracing) {
        pthread_testcancel();
    }
}

namespace hb_test {
namespace {

MOX_Event *make_event() {
    return new MOX_Event();
}

bool is_free() {
    if (pthread_mutex_trylock(&event_queue_list_and_sequence_mutex) != 0) {
        return false;
    }
    pthread_mutex_unlock(&event_queue_list_and_sequence_mutex);
    return true;
}

using Work = void (*)();

bool work_is_done = false;

void *run_cancelled(void *work) {
    int before = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
    pthread_cancel(pthread_self()); // takes effect at the next cancellation point
    cancelled_when_tracing = true;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &before);
    reinterpret_cast<Work>(work)();
    work_is_done = true;
    pthread_testcancel();
    return nullptr;
}

// Runs it in a thread with a pending cancellation. Returns whether the cancellation interrupted it.
bool is_cut_short(Work work) {
    work_is_done = false;
    pthread_t thread;
    EXPECT_EQ(0, pthread_create(&thread, nullptr, run_cancelled, reinterpret_cast<void *>(work)));
    void *result = nullptr;
    pthread_join(thread, &result);
    EXPECT_EQ(PTHREAD_CANCELED, result);
    return !work_is_done;
}

class Cancellation : public testing::Test {
  protected:
    void SetUp() override {
        MOX_add_event_at_end(make_event());
        MOX_add_event_at_end(make_event());
    }
    void TearDown() override {
        while (MOX_Event *event = MOX_get_event_from_head()) {
            delete event;
        }
        MOX_delete_global_event_handlers();
        MOX_write_to_event_pipe(); // the numbers start again
    }

    // Expects two events, one after the other, with their numbers, and the next number.
    static void expect_whole_queue() {
        ASSERT_TRUE(is_free());
        ASSERT_NE(nullptr, event_queue_list);
        EXPECT_EQ(0, event_queue_list->sequence_num);
        ASSERT_NE(nullptr, event_queue_list->next);
        EXPECT_EQ(1, event_queue_list->next->sequence_num);
        EXPECT_EQ(nullptr, event_queue_list->next->next);
        EXPECT_EQ(2, event_sequence);
    }
};

// These sections have no cancellation points: they are completed, and the thread ends after them.
TEST_F(Cancellation, WaitsUntilANumberIsTaken) {
    EXPECT_FALSE(is_cut_short([] { hb_mox_next_event_sequence(); }));
    EXPECT_EQ(3, event_sequence);
    --event_sequence;
    expect_whole_queue();
}

TEST_F(Cancellation, WaitsUntilAnEventIsAddedOrTaken) {
    EXPECT_FALSE(is_cut_short([] { MOX_add_event_at_end(make_event()); }));
    ASSERT_TRUE(is_free());
    EXPECT_EQ(3, event_sequence);
    EXPECT_FALSE(is_cut_short([] { delete MOX_get_event_from_head(); }));
    ASSERT_TRUE(is_free());
    ASSERT_NE(nullptr, event_queue_list);
    EXPECT_EQ(1, event_queue_list->sequence_num);
    ASSERT_NE(nullptr, event_queue_list->next);
    EXPECT_EQ(2, event_queue_list->next->sequence_num);
}

TEST_F(Cancellation, WaitsUntilTheQueueIsLookedAt) {
    EXPECT_FALSE(is_cut_short([] { MOX_event_queue_is_empty(); }));
    expect_whole_queue();
}

TEST_F(Cancellation, WhileTheQueueIsShownLeavesItUnlocked) {
    tr_file_token_t tokens[3] = {};
    tr_file_token_t *const before = pTokens;
    pTokens = tokens;
    hbc_trace_detail_levels[1] = 1;
    EXPECT_TRUE(is_cut_short([] { MOX_display_event_list(); }));
    hbc_trace_detail_levels[1] = 0;
    pTokens = before;
    expect_whole_queue();
}

// The thread waits in the write itself, since the pipe is full and blocks.
TEST_F(Cancellation, WhileTheWakeUpIsWrittenLeavesItUnlocked) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC | O_NONBLOCK));
    char name[] = "event pipe";
    event_pipe_handler_p = new ORBFSEventPipeHandler(ends, name);
    const std::string page(4096, '\0');
    while (write(ends[1], page.data(), page.size()) > 0) {
    }
    ASSERT_EQ(0, fcntl(ends[1], F_SETFL, 0));

    pthread_t thread;
    ASSERT_EQ(0, pthread_create(
                     &thread, nullptr,
                     [](void *) -> void * {
                         MOX_write_to_event_pipe();
                         return nullptr;
                     },
                     nullptr));
    ASSERT_TRUE(wait_until([] { return !is_free(); })); // it is in the section and cannot continue
    ASSERT_EQ(0, pthread_cancel(thread));
    void *result = nullptr;
    ASSERT_EQ(0, pthread_join(thread, &result));
    EXPECT_EQ(PTHREAD_CANCELED, result);
    expect_whole_queue();
}

// ---- Several threads ----

constexpr int PRODUCERS = 4;
constexpr int EACH = 500;

TEST(QueueOfThreads, GivesEveryEventOnceWithNumbersThatGrow) {
    std::array<pthread_t, PRODUCERS> producers{};
    for (pthread_t &producer : producers) {
        ASSERT_EQ(0, pthread_create(
                         &producer, nullptr,
                         [](void *) -> void * {
                             for (int i = 0; i < EACH; ++i) {
                                 auto *event = make_event();
                                 event->node_num = static_cast<Hb_Node_Number>(i);
                                 MOX_add_event_at_end(event);
                             }
                             return nullptr;
                         },
                         nullptr));
    }
    const Deadline deadline;
    std::array<int, EACH> seen{};
    int last = -1;
    for (int taken = 0; taken < PRODUCERS * EACH && !deadline.over();) {
        if (const std::unique_ptr<MOX_Event> event{MOX_get_event_from_head()}) {
            EXPECT_LT(last, event->sequence_num);
            last = event->sequence_num;
            ++seen[static_cast<std::size_t>(event->node_num)];
            ++taken;
        }
    }
    for (const pthread_t producer : producers) {
        pthread_join(producer, nullptr);
    }
    for (const int times : seen) {
        EXPECT_EQ(PRODUCERS, times);
    }
    EXPECT_EQ(1, MOX_event_queue_is_empty());
    MOX_write_to_event_pipe();
}

} // namespace
} // namespace hb_test
