// SPDX-License-Identifier: Apache-2.0
// The handler that delivers queued events, one for each wake-up.
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/handlers/MOX_ORBFSEventPipeHandler.h"
#include "lib/mox/handlers/event_pipe.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"

namespace hb_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

struct Pipe {
    Pipe() {
        client.open();
        hb_set_name(siteEventSubscriptionName, "s");
    }

    ~Pipe() {
        while (const MOX_Event *left = MOX_get_event_from_head()) {
            delete left;
        }
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    Hb_Rc run() { return call.run(event_pipe_handler_p); }
    static void put(char byte) { ASSERT_EQ(1, write(event_pipe_handler_p->getWriteFd(), &byte, 1)); }
    static int bytes_held() {
        int held = 0;
        char byte = 0;
        while (read(event_pipe_handler_p->getFileDescriptor(), &byte, 1) == 1) {
            EXPECT_EQ(1, byte);
            ++held;
        }
        return held;
    }
    // The library's own message-received event. The call also reports whether its wake-up was written.
    static void message_from(short node) { ASSERT_EQ(Hb_Success, hb_mox_msg_received_from(node)); }
    void expect_empty_event() {
        EXPECT_EQ(0, call.events);
        EXPECT_EQ(0U, call.sequence);
        EXPECT_EQ("<EMPTY EVENT>", call.name);
    }

    Cluster_Client client;
    Handler_Call call;
};

ISOLATED_TEST(EventPipe, AWakeUpWithNothingQueuedIsAnEmptyEvent) {
    Pipe pipe;
    Pipe::put(1);
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, pipe.run());
    pipe.expect_empty_event();
    EXPECT_TRUE(pipe.call.group_is_untouched());
    EXPECT_THAT(traced_ids(spy), ElementsAre(50, 51, 53));
    EXPECT_EQ(0, Pipe::bytes_held());
}

ISOLATED_TEST(EventPipe, TwoEventsAndOneWakeUpTakeTwoCallsAndTheThirdFindsNothing) {
    Pipe pipe;
    queue_event(0, DEATH);
    queue_event(0, JOIN);
    ASSERT_EQ(Hb_Success, MOX_write_to_event_pipe());
    EXPECT_EQ(Hb_Success, pipe.run());
    EXPECT_EQ(DEATH, pipe.call.events);
    EXPECT_EQ(1, Pipe::bytes_held()) << "the pipe was armed again";
    Pipe::put(1);
    EXPECT_EQ(Hb_Success, pipe.run());
    EXPECT_EQ(JOIN, pipe.call.events);
    EXPECT_EQ(0, Pipe::bytes_held());
    EXPECT_EQ(0, event_sequence) << "it restarts with an empty queue";
    EXPECT_EQ(Hb_Success, pipe.run());
    pipe.expect_empty_event();
}

ISOLATED_TEST(EventPipe, DeliversANodeGroupUnderItsNameIntoAClearedList) {
    Pipe pipe;
    MOX_Event *ev = queue_event(0, JOIN);
    ev->group.Hb_group_status = 1;
    ev->group.Hb_membership_grp_union.Hb_node_membership_grp.Hb_node_list[2048] = 1;
    ev->group.Hb_membership_grp_union.Hb_node_membership_grp.Hb_num_nodes = 1;
    EXPECT_EQ(Hb_Success, pipe.run());
    EXPECT_EQ(JOIN, pipe.call.events);
    EXPECT_EQ("n", pipe.call.name);
    EXPECT_EQ(0U, pipe.call.sequence);
    EXPECT_EQ(0, pipe.call.group->Hb_group_type);
    EXPECT_EQ(JOIN, pipe.call.group->Hb_events);
    EXPECT_EQ(1, pipe.call.group->Hb_group_status);
    EXPECT_EQ(1, pipe.call.node_count());
    EXPECT_THAT(pipe.call.nodes(), ElementsAre(2048));
    EXPECT_EQ(0, pipe.call.group->Hb_membership_grp_union.Hb_node_membership_grp.Hb_node_list[0]);
    EXPECT_THAT(queued(), IsEmpty());
}

ISOLATED_TEST(EventPipe, DeliversAnAdapterGroupUnderItsName) {
    Pipe pipe;
    MOX_Event *ev = queue_event(1, DEATH);
    auto &members = ev->group.Hb_membership_grp_union.Hb_adapter_membership_grp;
    members.Hb_group_leader = 11;
    members.Hb_group_incarnation = 12;
    members.Hb_num_adapters = 13;
    members.Hb_adapter_list[98351] = 14;
    EXPECT_EQ(Hb_Success, pipe.run());
    EXPECT_EQ(DEATH, pipe.call.events);
    EXPECT_EQ("a", pipe.call.name);
    EXPECT_EQ(1, pipe.call.group->Hb_group_type);
    EXPECT_EQ(11U, pipe.call.group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_group_leader);
    EXPECT_EQ(12U, pipe.call.group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_group_incarnation);
    EXPECT_EQ(13, pipe.call.adapter_count());
    EXPECT_EQ(14U, pipe.call.slot(98351));
}

ISOLATED_TEST(EventPipe, DeliversSiteGroupsByTheirEvents) {
    for (const int events : {32, 64, 5}) {
        Pipe pipe;
        MOX_Event *ev = queue_event(4, events);
        ev->group.Hb_membership_grp_union.site_merge_info.num_local_up_nodes = 21; // of a split: local_site
        EXPECT_EQ(Hb_Success, pipe.run());
        EXPECT_EQ(events, pipe.call.events);
        EXPECT_EQ("s", pipe.call.name);
        if (events == 5) {
            EXPECT_TRUE(pipe.call.group_is_untouched()) << "neither a split nor a merge";
        } else {
            EXPECT_EQ(4, pipe.call.group->Hb_group_type);
            EXPECT_EQ(21U, pipe.call.group->Hb_membership_grp_union.site_merge_info.num_local_up_nodes);
        }
    }
}

ISOLATED_TEST(EventPipe, WithoutASubscriptionTheGroupIsCopiedAndNothingTold) {
    const std::pair<int, Hb_Name *> cases[] = {
        {0, &nodeEventSubscriptionName}, {1, &networkEventSubscriptionName}, {4, &siteEventSubscriptionName}};
    for (const auto &[type, name] : cases) {
        Pipe pipe;
        hb_set_name(*name, "");
        queue_event(type, 32);
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Success, pipe.run());
        pipe.expect_empty_event();
        EXPECT_EQ(type, pipe.call.group->Hb_group_type);
        EXPECT_EQ(32, pipe.call.group->Hb_events);
        EXPECT_THAT(traced_ids(spy), Contains(48));
    }
}

ISOLATED_TEST(EventPipe, TheMarkerMakesTheWorkingTableTheLiveOne) {
    Pipe pipe;
    pipe.client.service.remove_interface(3, "eth1");
    pipe.client.service.push("adapter_liveness", adapter_record(QZ_ORB_EVENT_DELETE, 3, "eth1"));
    ASSERT_EQ(DEATH, pipe.client.take().events);
    ASSERT_THAT(queued(), ElementsAre(queued_marker()));
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, pipe.run());
    EXPECT_EQ(CONFIG, pipe.call.events);
    EXPECT_EQ("Hb_Config_Group", pipe.call.name);
    EXPECT_EQ(0U, pipe.call.sequence);
    EXPECT_TRUE(pipe.call.group_is_untouched());
    EXPECT_EQ(5, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(MOX_Working_Table::none, MOX_working_table());
    ASSERT_NE(nullptr, traced(spy, 107));
    EXPECT_STREQ("Event pipe handler: after copy", traced(spy, 107)->data.at(0).c_str());
}

// ---- A node has spoken ----

ISOLATED_TEST(EventPipe, AMessageRevivesANodeThatWasReportedDead) {
    Pipe pipe;
    set_node(2, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    Pipe::message_from(2);
    EXPECT_THAT(queued(), ElementsAre(Queued{JOIN, 1, 2, 0, {2}, {}, 1}));
    EXPECT_EQ(Hb_Success, pipe.run());
    EXPECT_EQ(JOIN, pipe.call.events);
    EXPECT_EQ("n", pipe.call.name);
    EXPECT_THAT(pipe.call.nodes(), ElementsAre(2));
    EXPECT_EQ(Hb_Entity_Up, state_of_node(2));
    EXPECT_EQ(Hb_Entity_State_Reason_KOBAL_Up, reason_of_node(2));
}

ISOLATED_TEST(EventPipe, AMessageOfAnyOtherNodeIsIgnoredWithoutAWakeUp) {
    for (const short node : std::initializer_list<short>{2, 3, 7, -1, 2049}) {
        Pipe pipe;
        set_node(3, Hb_Entity_Down, Hb_Entity_State_Reason_Down);
        Pipe::message_from(node);
        queue_event(0, DEATH);
        EXPECT_EQ(1, Pipe::bytes_held());
        EXPECT_EQ(Hb_Success, pipe.run());
        pipe.expect_empty_event();
        EXPECT_TRUE(pipe.call.group_is_untouched());
        EXPECT_EQ(0, Pipe::bytes_held()) << "although another event is queued";
        EXPECT_EQ(1U, queued().size());
        EXPECT_EQ(Hb_Entity_Up, state_of_node(2));
        EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
    }
}

ISOLATED_TEST(EventPipe, AnIgnoredEventOfAnotherMakerStaysItsMakers) {
    Pipe pipe;
    const std::unique_ptr<MOX_Event> ev(queue_event(0, JOIN));
    ev->type = 1;
    ev->node_num = 2;
    EXPECT_EQ(Hb_Success, pipe.run());
    pipe.expect_empty_event();
    EXPECT_EQ(2, ev->node_num) << "not freed";
    EXPECT_THAT(queued(), IsEmpty());
}

ISOLATED_TEST(EventPipe, IgnoredMessagesDoNotGrow) {
    Pipe pipe;
    Pipe::message_from(2);
    ASSERT_EQ(Hb_Success, pipe.run());
    const std::size_t bytes = allocated_bytes();
    for (int i = 0; i < 1000; ++i) {
        Pipe::message_from(2);
        ASSERT_EQ(Hb_Success, pipe.run());
    }
    EXPECT_LT(allocated_bytes(), bytes + 4000);
    EXPECT_EQ(0, Pipe::bytes_held());
}

ISOLATED_TEST(EventPipe, AnIgnoredEventOfTheLibraryIsKeptForTheNextMessage) {
    Pipe pipe;
    Pipe::message_from(2);
    const MOX_Event *const first = event_queue_list;
    ASSERT_EQ(Hb_Success, pipe.run());
    EXPECT_EQ(1U, first->type) << "it was not freed";
    EXPECT_EQ(2, first->node_num);
    Pipe::message_from(3);
    EXPECT_EQ(first, event_queue_list);
    EXPECT_THAT(queued(), ElementsAre(Queued{JOIN, 1, 3, 0, {3}, {}, 1}));
    Pipe::message_from(2);
    EXPECT_NE(first, event_queue_list->next) << "one event for each message";
    ASSERT_EQ(Hb_Success, pipe.run());
    ASSERT_EQ(Hb_Success, pipe.run());
    set_node(2, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    Pipe::message_from(2);
    ASSERT_EQ(Hb_Success, pipe.run());
    EXPECT_EQ(JOIN, pipe.call.events);
    EXPECT_THAT(pipe.call.nodes(), ElementsAre(2));
}

ISOLATED_TEST(EventPipe, AMessageOutsideClusterEventModeSucceedsAndQueuesNothing) {
    Pipe pipe;
    set_node(2, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    IsMOX = false; // as after a preparation, which creates the handlers
    Pipe::message_from(2);
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_EQ(0, Pipe::bytes_held());
    IsMOX = true;
    Pipe::message_from(2);
    EXPECT_EQ(1U, queued().size());
}

ISOLATED_TEST(EventPipe, AFailedWakeUpIsTracedWithTheResultOfTheWrite) {
    for (const long result : {-1L, 0L}) {
        Pipe pipe;
        queue_event(0, DEATH);
        const Trace_Spy spy(0, 1, 0);
        Fault fault;
        fault.call = Call::write_;
        fault.error = result == -1 ? EPIPE : 0;
        const Fault_Guard guard(fault);
        errno = EPIPE;
        EXPECT_EQ(Hb_Failure, MOX_write_to_event_pipe());
        EXPECT_EQ(59, hb_get_errno());
        ASSERT_EQ(1U, spy.records().size());
        EXPECT_EQ(85U, spy.records()[0].id);
        EXPECT_EQ((std::vector<uint32_t>{static_cast<uint32_t>(result), EPIPE}), spy.records()[0].values);
    }
}

ISOLATED_TEST(EventPipe, AMessageWithoutHandlersSucceedsAndQueuesNothing) {
    Pipe pipe;
    MOX_delete_global_event_handlers();
    Pipe::message_from(2);
    EXPECT_THAT(queued(), IsEmpty());
}

ISOLATED_TEST(EventPipe, AMessageFailsWhereTheLibraryCannotBeOpened) {
    EXPECT_EQ(Hb_Failure, hb_mox_msg_received_from(2));
}

// ---- The pipe itself ----

ISOLATED_TEST(EventPipe, AByteThatIsNoWakeUpIsError72AndTheEventIsDelivered) {
    Pipe pipe;
    queue_event(0, DEATH);
    Pipe::put(9);
    EXPECT_EQ(Hb_Success, pipe.run());
    EXPECT_EQ(72, pipe.call.error);
    EXPECT_EQ(DEATH, pipe.call.events);
}

ISOLATED_TEST(EventPipe, TroubleWithPollOrReadIsTracedAndStopsNothing) {
    struct Trouble {
        Call call;
        long result;
        int error;
        uint32_t record;
    };
    for (const Trouble &trouble : {Trouble{Call::poll_, -1, EINTR, 42},
                                   {Call::poll_, 0, 0, 43},
                                   {Call::read_, -1, EIO, 44},
                                   {Call::read_, 0, 0, 45}}) {
        Pipe pipe;
        queue_event(0, DEATH);
        Pipe::put(1);
        const Trace_Spy spy(0, 1, 0);
        Fault fault;
        fault.call = trouble.call;
        fault.error = trouble.error;
        fault.result = trouble.result;
        const Fault_Guard guard(fault);
        EXPECT_EQ(Hb_Success, pipe.run());
        EXPECT_EQ(1, guard.hits());
        EXPECT_EQ(DEATH, pipe.call.events);
        EXPECT_THAT(traced_ids(spy), Contains(trouble.record));
        EXPECT_EQ(Handler_Call::NO_ERROR_NUMBER, pipe.call.error);
        if (trouble.record == 42) {
            EXPECT_EQ(EINTR, pipe.call.system_error);
        }
    }
}

ISOLATED_TEST(EventPipe, ReadinessBesideInputIsTraced) {
    Pipe pipe;
    queue_event(0, DEATH);
    Pipe::put(1);
    close(event_pipe_handler_p->orbfs_pipe_write_fd);
    event_pipe_handler_p->orbfs_pipe_write_fd = -1;
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, pipe.run()) << "nothing is queued afterwards, so nothing is written";
    ASSERT_NE(nullptr, traced(spy, 47));
    EXPECT_THAT(traced(spy, 47)->values, ElementsAre(static_cast<uint32_t>(POLLIN | POLLHUP)));
    queue_event(0, DEATH);
    EXPECT_EQ(Hb_Success, pipe.run()); // the end of the file is also readable
    EXPECT_THAT(traced_ids(spy), Contains(45));
}

ISOLATED_TEST(EventPipe, ArmingAgainThatFailsIsError59AndTheEventIsDelivered) {
    Pipe pipe;
    queue_event(0, DEATH);
    queue_event(0, JOIN);
    close(event_pipe_handler_p->orbfs_pipe_write_fd);
    event_pipe_handler_p->orbfs_pipe_write_fd = -1;
    EXPECT_EQ(Hb_Failure, pipe.run());
    EXPECT_EQ(59, pipe.call.error);
    EXPECT_EQ(EBADF, pipe.call.system_error);
    EXPECT_EQ(DEATH, pipe.call.events);
    EXPECT_EQ(1U, queued().size());
}

ISOLATED_TEST(EventPipe, ClosesBothEndsWithTheHandler) {
    const int before = open_descriptors();
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    char name[] = "mine";
    {
        const ORBFSEventPipeHandler handler(ends, name);
        EXPECT_EQ(ends[0], handler.getFileDescriptor());
        EXPECT_EQ(ends[1], handler.getWriteFd());
        EXPECT_EQ(1, ORBFSHandler::getNumbersOfFileDescriptors());
    }
    EXPECT_EQ(before, open_descriptors());
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    const ORBFSEventPipeHandler without(name);
    EXPECT_EQ(-1, without.getWriteFd());
}

} // namespace
} // namespace hb_test
