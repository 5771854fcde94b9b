// SPDX-License-Identifier: Apache-2.0
// The queue of events, its sequence numbers, and the wake-up of the event pipe.
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_global_data/cluster_name.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/mox/handlers/MOX_ORBFSEventPipeHandler.h"
#include "lib/mox/handlers/event_pipe.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/isolated.h"
#include "tests/unit/tables/trace_spy.h"

namespace hb_test {
namespace {

constexpr unsigned INFO = 1;

MOX_Event *make_event(Hb_Group_Type type = Hb_Node_Group, int events = 1) {
    auto *event = new MOX_Event();
    event->sequence_num = 4711;
    event->next = event;
    event->group.Hb_group_type = type;
    event->group.Hb_events = events;
    return event;
}

int take_sequence() {
    const std::unique_ptr<MOX_Event> event(MOX_get_event_from_head());
    return event ? event->sequence_num : -1;
}

// The process's event pipe handler over a pipe of the test.
int make_event_pipe() {
    int ends[2];
    EXPECT_EQ(0, pipe2(ends, O_CLOEXEC | O_NONBLOCK));
    char name[] = "event pipe";
    event_pipe_handler_p = new ORBFSEventPipeHandler(ends, name);
    return ends[0];
}

// The bytes in the pipe, as numbers.
std::vector<int> bytes_in(int fd) {
    std::vector<int> all;
    char byte = 0;
    while (read(fd, &byte, 1) == 1) {
        all.push_back(byte);
    }
    return all;
}

ISOLATED_TEST(Queue, IsEmptyAtFirstAndGivesNothing) {
    EXPECT_EQ(1, MOX_event_queue_is_empty());
    EXPECT_EQ(nullptr, MOX_get_event_from_head());
    EXPECT_EQ(1, MOX_event_queue_is_empty());
    EXPECT_EQ(0, hb_mox_next_event_sequence());
    EXPECT_EQ(1, hb_mox_next_event_sequence());
}

ISOLATED_TEST(Queue, GivesEventsInTheirOrderWithConsecutiveNumbers) {
    MOX_Event *first = make_event();
    MOX_Event *second = make_event();
    MOX_Event *third = make_event();
    MOX_add_event_at_end(first);
    EXPECT_EQ(nullptr, first->next);
    MOX_add_event_at_end(second);
    MOX_add_event_at_end(third);
    EXPECT_EQ(second, first->next);
    EXPECT_EQ(third, second->next);
    EXPECT_EQ(nullptr, third->next);
    EXPECT_EQ(0, MOX_event_queue_is_empty());

    MOX_Event *taken = MOX_get_event_from_head();
    EXPECT_EQ(first, taken);
    EXPECT_EQ(second, taken->next); // unchanged
    EXPECT_EQ(0, taken->sequence_num);
    delete taken;
    EXPECT_EQ(1, take_sequence());
    EXPECT_EQ(2, take_sequence());
    EXPECT_EQ(1, MOX_event_queue_is_empty());
}

ISOLATED_TEST(Queue, IgnoresANullEventAndUsesNoNumberForIt) {
    MOX_add_event_at_end(nullptr);
    EXPECT_EQ(1, MOX_event_queue_is_empty());
    MOX_add_event_at_end(make_event());
    MOX_add_event_at_end(nullptr);
    EXPECT_EQ(0, take_sequence());
    EXPECT_EQ(1, MOX_event_queue_is_empty());
    EXPECT_EQ(1, hb_mox_next_event_sequence());
}

// Sanitizer builds detect a signed overflow.
ISOLATED_TEST(Queue, NumbersGoOnBehindTheLargestWithTheSmallest) {
    event_sequence = INT_MAX;
    MOX_add_event_at_end(make_event());
    MOX_add_event_at_end(make_event());
    EXPECT_EQ(INT_MAX, take_sequence());
    EXPECT_EQ(INT_MIN, take_sequence());
    event_sequence = INT_MAX;
    EXPECT_EQ(INT_MAX, hb_mox_next_event_sequence());
    EXPECT_EQ(INT_MIN, hb_mox_next_event_sequence());
}

ISOLATED_TEST(Queue, NumbersGoOnAfterItWasEmpty) {
    MOX_add_event_at_end(make_event());
    EXPECT_EQ(0, take_sequence());
    MOX_add_event_at_end(make_event());
    EXPECT_EQ(1, take_sequence());
}

ISOLATED_TEST(Queue, IsShownEventByEventAndThenItsEnd) {
    MOX_add_event_at_end(make_event(Hb_Adapter_Group, 2));
    MOX_add_event_at_end(make_event(Hb_Repository_Disk_Type, 128));
    const Trace_Spy spy(1, 1, 1);
    MOX_display_event_list();
    ASSERT_EQ(3U, spy.records().size());
    EXPECT_EQ((std::vector<uint32_t>{0, 1, 2}), spy.records()[0].values);
    EXPECT_EQ((std::vector<uint32_t>{1, 3, 128}), spy.records()[1].values);
    EXPECT_EQ(std::vector<std::string>{"End of event list"}, spy.records()[2].data);
    for (const Trace_Record &record : spy.records()) {
        EXPECT_EQ(INFO, record.category);
        EXPECT_EQ("_HBC", record.component);
    }
    EXPECT_EQ(0, take_sequence()); // no number was used
    EXPECT_EQ(1, take_sequence());
}

ISOLATED_TEST(Queue, ShowsNothingWhileTheDetailByteIsZero) {
    MOX_add_event_at_end(make_event());
    const Trace_Spy spy(1, 0, 1);
    MOX_display_event_list();
    EXPECT_TRUE(spy.records().empty());
    EXPECT_EQ(0, take_sequence());
}

// ---- The wake-up ----

ISOLATED_TEST(WakeUp, OfAnEmptyQueueWritesNothingAndStartsTheNumbersAnew) {
    const int pipe = make_event_pipe();
    MOX_add_event_at_end(make_event());
    EXPECT_EQ(0, take_sequence());
    EXPECT_EQ(Hb_Success, MOX_write_to_event_pipe());
    EXPECT_TRUE(bytes_in(pipe).empty());
    EXPECT_EQ(0, hb_mox_next_event_sequence());
    MOX_delete_global_event_handlers();
}

ISOLATED_TEST(WakeUp, OfAQueueIsOneByteOfValue1AndKeepsTheNumbers) {
    const int pipe = make_event_pipe();
    MOX_add_event_at_end(make_event());
    MOX_add_event_at_end(make_event());
    const Trace_Spy spy(1, 1, 1);
    EXPECT_EQ(Hb_Success, MOX_write_to_event_pipe());
    EXPECT_EQ(std::vector<int>{1}, bytes_in(pipe));
    ASSERT_EQ(1U, spy.records().size());
    EXPECT_EQ(INFO, spy.records()[0].category);
    EXPECT_TRUE(spy.records()[0].values.empty());
    EXPECT_EQ(2, hb_mox_next_event_sequence());
    take_sequence();
    take_sequence();
    MOX_delete_global_event_handlers();
}

ISOLATED_TEST(WakeUp, ThatCannotBeWrittenIsError59WithTheWritesErrno) {
    const int pipe = make_event_pipe();
    MOX_add_event_at_end(make_event());
    const char byte = 9;
    while (write(event_pipe_handler_p->getWriteFd(), &byte, 1) == 1) {
    }
    set_hb_errno(0);
    const Trace_Spy spy(1, 1, 1);
    errno = 0;
    EXPECT_EQ(Hb_Failure, MOX_write_to_event_pipe());
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(59, hb_get_errno());
    ASSERT_EQ(1U, spy.records().size());
    EXPECT_EQ(INFO, spy.records()[0].category);
    EXPECT_EQ((std::vector<uint32_t>{0xFFFFFFFF, EAGAIN}), spy.records()[0].values);
    EXPECT_EQ(0, pthread_mutex_trylock(&event_queue_list_and_sequence_mutex));
    pthread_mutex_unlock(&event_queue_list_and_sequence_mutex);
    EXPECT_NE(0U, bytes_in(pipe).size());
    EXPECT_EQ(Hb_Success, MOX_write_to_event_pipe());
    EXPECT_EQ(std::vector<int>{1}, bytes_in(pipe));
    take_sequence();
    MOX_delete_global_event_handlers();
}

ISOLATED_TEST(WakeUp, WithoutAPipeHandlerIsError59WithABadDescriptor) {
    MOX_add_event_at_end(make_event());
    errno = 0;
    EXPECT_EQ(Hb_Failure, MOX_write_to_event_pipe());
    EXPECT_EQ(EBADF, errno);
    EXPECT_EQ(59, hb_get_errno());
    take_sequence();
    EXPECT_EQ(Hb_Success, MOX_write_to_event_pipe());
}

ISOLATED_TEST(Queue, KeepsItsEventsWhenTheHandlersGo) {
    make_event_pipe();
    MOX_add_event_at_end(make_event());
    MOX_delete_global_event_handlers();
    EXPECT_EQ(nullptr, event_pipe_handler_p);
    EXPECT_EQ(0, MOX_event_queue_is_empty());
    MOX_delete_global_event_handlers();
    EXPECT_EQ(0, take_sequence());
}

ISOLATED_TEST(Handlers, AreDeletedInTheirOrderWithTheClustersName) {
    static std::vector<std::string> deleted;
    struct Noting : ORBFSHandler {
        explicit Noting(const char *called) : ORBFSHandler(nullptr, nullptr), called_(called) {}
        ~Noting() override { deleted.emplace_back(called_); }
        Hb_Rc handler(int *, char *, Hb_Group *, unsigned long *) override { return Hb_Success; }
        const char *called_;
    };
    struct Noting_Pipe : ORBFSPipeHandler {
        explicit Noting_Pipe(const char *called) : ORBFSPipeHandler(none(), nullptr), called_(called) {}
        ~Noting_Pipe() override { deleted.emplace_back(called_); }
        Hb_Rc handler(int *, char *, Hb_Group *, unsigned long *) override { return Hb_Success; }
        static int *none() {
            static int ends[] = {-1, -1};
            return ends;
        }
        const char *called_;
    };
    orbfs_cluster_name = new char[5]{'n', 'a', 'm', 'e', 0};
    site_config_handler_p = new Noting("site config");
    node_list_handler_p = new Noting("node list");
    ip_change_handler_p = new Noting("ip change");
    peer_GS_liveness_handler_p = new Noting("peer liveness");
    event_pipe_handler_p = new Noting_Pipe("event pipe");
    cluster_reconfig_handler_p = new Noting("reconfig");
    new_group_event_handler_p = new Noting_Pipe("new group");
    adapter_event_handler_p = new Noting("adapter");
    node_liveness_handler_p = new Noting("node liveness");
    MOX_delete_global_event_handlers();
    EXPECT_EQ((std::vector<std::string>{"node liveness", "adapter", "new group", "reconfig", "event pipe",
                                        "peer liveness", "ip change", "node list", "site config"}),
              deleted);
    EXPECT_EQ(nullptr, orbfs_cluster_name);
    EXPECT_EQ(nullptr, node_liveness_handler_p);
    EXPECT_EQ(nullptr, site_config_handler_p);
    MOX_delete_global_event_handlers();
    EXPECT_EQ(9U, deleted.size());
}

} // namespace
} // namespace hb_test
