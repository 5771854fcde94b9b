// SPDX-License-Identifier: Apache-2.0
// The calls without a connection, without a wait set, on high descriptors, and after the daemon's death.
#include <csignal>
#include <cstring>
#include <sys/resource.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/api/session.h"
#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/event_apply.h"
#include "lib/hb_communication/reply.h"
#include "lib/hb_communication/request.h"
#include "tests/protocol/client.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"

namespace hb_test {
namespace {

Fake_Daemon_Plan plan_of(const Script &script) {
    Fake_Daemon_Plan plan;
    plan.connections = {script};
    plan.segments = no_segments();
    return plan;
}

int error_of_awaiting(const timeval *timeout) {
    set_hb_errno(0);
    client_packet *packet = nullptr;
    timeval limit = timeout != nullptr ? *timeout : timeval{};
    if (hb_get_reply_from_server(HB_ROUTE, packet, timeout != nullptr ? &limit : nullptr) != Hb_Success) {
        return hb_get_errno();
    }
    hb_free_packet(packet);
    return 0;
}

const timeval A_MINUTE{60, 0};

TEST(ReplyCodes, OfThoseThatNoCallAwaitsHaveTheirNumbersToo) {
    EXPECT_EQ(1, HB_ADAPTER_GROUP);
    EXPECT_EQ(10, HB_CONFIG_ADAPTER);
    EXPECT_EQ(11, HB_ADAPTER_GRACE);
}

// ---- No connection, no wait set ----

ISOLATED_TEST(WithoutAConnection, AReplyWaitIsError12) {
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(12, error_of_awaiting(&A_MINUTE));
    EXPECT_EQ(12, error_of_awaiting(nullptr));
    client_packet *packet = nullptr;
    timeval timeout{60, 0};
    set_hb_errno(0);
    EXPECT_EQ(Hb_Failure, hb_get_reply_from_server(HB_ROUTE, packet, &timeout));
    EXPECT_EQ(12, hb_get_errno());
    EXPECT_EQ(nullptr, packet);
}

ISOLATED_TEST(WithoutAConnection, AReplyWaitIsError12AlsoAfterOneWasThere) {
    Fake_Daemon daemon(plan_of({}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    EXPECT_NE(nullptr, client_select);
    EXPECT_EQ(12, error_of_awaiting(&A_MINUTE));
    EXPECT_EQ(12, error_of_awaiting(nullptr));
}

ISOLATED_TEST(WithoutAWaitSet, AReplyWaitWithATimeOutIsError12AndOneWithoutIsNot) {
    Fake_Daemon daemon(plan_of({send_record(reply(8))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    EXPECT_EQ(Hb_Success, hb_remove_client_select());
    EXPECT_EQ(12, error_of_awaiting(&A_MINUTE));
    EXPECT_EQ(0, error_of_awaiting(nullptr)) << "and nothing was read before";
}

ISOLATED_TEST(WithoutAWaitSet, AnEventWaitWithATimeOutIsError12AndOneWithoutIsNot) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(2, adapter_body({{4, 1}}))));
    EXPECT_EQ(Hb_Success, hb_remove_client_select());
    Event_Call call;
    EXPECT_EQ(Hb_Failure, call.take({60, 0}));
    EXPECT_EQ(12, hb_get_errno());
    EXPECT_EQ(Event_Call::NO_EVENT, call.events);
    EXPECT_EQ(Hb_Success, call.take());
    EXPECT_EQ(1, call.events);
}

// ---- An open library whose connection the caller has removed ----

Fake_Daemon_Plan with_a_second_connection(const Script &second) {
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(small_cluster())), second};
    return plan;
}

ISOLATED_TEST(ARemovedConnection, IsMadeAgainByTheDescriptorArray) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    int *descriptors = nullptr;
    int count = 0;
    ASSERT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
    EXPECT_EQ(2, daemon.connections());
    EXPECT_EQ(1, count);
    ASSERT_NE(nullptr, client_socket);
    EXPECT_EQ(client_socket->socket(), descriptors[0]);
    EXPECT_EQ(-1, descriptors[1]);
    EXPECT_EQ(Hb_Success, hb_free_file_descriptor_array(descriptors));
    EXPECT_EQ(1, client_initialized);
    EXPECT_EQ(160U, daemon.received().size()) << "the configuration was asked for on each connection";
}

ISOLATED_TEST(ARemovedConnection, IsMadeAgainByTheWaitForAnEvent) {
    Script second = serve_configuration(snapshot(small_cluster()));
    second.push_back(send_record(reply(3, adapter_body({{5, 9}}))));
    Fake_Daemon daemon(with_a_second_connection(second));
    open_library();
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    Event_Call call;
    EXPECT_EQ(Hb_Success, call.take({60, 0})) << hb_get_errno();
    EXPECT_EQ(2, call.events);
    EXPECT_EQ(2, daemon.connections());
    EXPECT_EQ(160U, daemon.received().size()) << "the configuration was asked for on each connection";
    EXPECT_EQ(Hb_Entity_Up, adapter_state(5));
}

ISOLATED_TEST(ARemovedConnection, AndWaitSetAreMadeAgainTogether) {
    Script second = serve_configuration(snapshot(small_cluster()));
    second.push_back(send_record(reply(12)));
    Fake_Daemon daemon(with_a_second_connection(second));
    open_library();
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    EXPECT_EQ(Hb_Success, hb_remove_client_select());
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    Event_Call call;
    EXPECT_EQ(Hb_Success, call.take({60, 0})) << hb_get_errno();
    EXPECT_EQ(8, call.events);
    EXPECT_NE(nullptr, client_select);
}

ISOLATED_TEST(ARemovedConnection, ThatCannotBeMadeAgainIsError15AndNothingIsWritten) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    daemon.stop_listening();
    const int before = open_descriptors();
    int *descriptors = nullptr;
    int count = 77;
    EXPECT_EQ(Hb_Failure, hb_get_file_descriptor_array(&descriptors, &count));
    EXPECT_EQ(15, hb_get_errno());
    EXPECT_EQ(nullptr, descriptors);
    EXPECT_EQ(77, count);
    set_hb_errno(0);
    Event_Call call;
    EXPECT_EQ(Hb_Failure, call.take({60, 0}));
    EXPECT_EQ(15, hb_get_errno());
    EXPECT_EQ(Event_Call::NO_EVENT, call.events);
    EXPECT_EQ(before, open_descriptors());
}

// ---- Descriptors that do not fit in a wait set ----

// Uses up every descriptor below 1024.
void use_up_low_descriptors() {
    const rlimit roomy{4096, 4096};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &roomy));
    int last = 0;
    while (last >= 0 && last < 1023) {
        last = dup(STDERR_FILENO);
    }
    ASSERT_EQ(1023, last);
}

ISOLATED_TEST(AHighDescriptor, OpensTheLibraryAndAWaitWithATimeOutIsError12AtOnce) {
    Fake_Daemon daemon;
    use_up_low_descriptors();
    open_library();
    EXPECT_GE(client_socket->socket(), 1024);
    daemon.run(send_record(reply(2, adapter_body({{4, 1}}))));
    Event_Call call;
    for (const timeval timeout : {timeval{0, 0}, timeval{60, 0}}) {
        set_hb_errno(0);
        const Call_Log log;
        EXPECT_EQ(Hb_Failure, call.take(timeout));
        EXPECT_EQ(12, hb_get_errno()) << "no false time-out";
        EXPECT_TRUE(log.calls(Call::select_).empty());
    }
    EXPECT_EQ(Event_Call::NO_EVENT, call.events);
    EXPECT_EQ(Hb_Success, call.take()) << "without a time-out there is no need to wait";
    EXPECT_EQ(1, call.events);
}

ISOLATED_TEST(AHighDescriptor, OfALaterConnectionIsTheSame) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    use_up_low_descriptors();
    Event_Call call;
    EXPECT_EQ(Hb_Failure, call.take({60, 0}));
    EXPECT_EQ(12, hb_get_errno());
    ASSERT_NE(nullptr, client_socket);
    EXPECT_GE(client_socket->socket(), 1024);
}

// ---- A daemon that died ----

// The daemon ends before it has read a request of this client.
void die_with_a_request_unread(Fake_Daemon &daemon) {
    daemon.run(stop_reading());
    ASSERT_TRUE(daemon.wait_steps_done());
    ASSERT_EQ(Hb_Success, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    daemon.run(hang_up());
    ASSERT_TRUE(daemon.wait_connections_ended(1));
}

ISOLATED_TEST(ADaemonDeadWithARequestUnread, IsError12OnceAndThen16) {
    Fake_Daemon daemon(plan_of({}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    ASSERT_TRUE(daemon.wait_connections(1));
    die_with_a_request_unread(daemon);
    EXPECT_EQ(12, error_of_awaiting(&A_MINUTE));
    EXPECT_EQ(16, error_of_awaiting(&A_MINUTE));
    EXPECT_EQ(16, error_of_awaiting(nullptr));
}

ISOLATED_TEST(ADaemonDeadWithARequestUnread, IsTheSameForEventsAndSendingIs16) {
    signal(SIGPIPE, SIG_IGN);
    Fake_Daemon daemon;
    open_library();
    die_with_a_request_unread(daemon);
    Event_Call call;
    EXPECT_EQ(Hb_Failure, call.take({60, 0}));
    EXPECT_EQ(12, hb_get_errno());
    EXPECT_EQ(Hb_Failure, call.take({60, 0}));
    EXPECT_EQ(16, hb_get_errno());
    set_hb_errno(0);
    EXPECT_EQ(Hb_Failure, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    EXPECT_EQ(16, hb_get_errno());
    EXPECT_EQ(1, client_initialized) << "closing and opening again is the caller's";
}

// ---- An adapter event of an unknown kind ----

void apply(Event_Call &call, int kind, const Bytes &body) {
    const Bytes record = reply(kind, body);
    char *packet = new char[record.size()];
    std::memcpy(packet, record.data(), record.size());
    EXPECT_EQ(Hb_Success, hb_get_adapter_event(&call.events, call.name, call.group.get(),
                                               reinterpret_cast<client_packet *>(packet)));
}

ISOLATED_TEST(AnAdapterEventOfAnotherKind, SetsTheErrorForAnAdapterThatThereIs) {
    Fake_Daemon daemon;
    open_library();
    set_hb_errno(0);
    Event_Call call;
    apply(call, 1, adapter_body({{0, 5}, {4, 6}}));
    EXPECT_EQ(71, hb_get_errno());
    EXPECT_EQ(Hb_Entity_Undef, adapter_state(4));
}

ISOLATED_TEST(AnAdapterEventOfAnotherKind, SetsNoErrorForAdaptersThatThereAreNot) {
    Fake_Daemon daemon;
    open_library();
    set_hb_errno(0);
    Event_Call call;
    apply(call, 1, adapter_body({{0, 5}, {15, 6}}));
    EXPECT_EQ(0, hb_get_errno());
    const auto &members = call.group->Hb_membership_grp_union.Hb_adapter_membership_grp;
    EXPECT_EQ(2, members.Hb_num_adapters);
    EXPECT_EQ(5U, members.Hb_adapter_list[0]) << "the record holds them all the same";
    EXPECT_EQ(6U, members.Hb_adapter_list[15]);
}

ISOLATED_TEST(AnAdapterEventOfAnotherKind, IsNoErrorWhenItTellsOfNobody) {
    Fake_Daemon daemon;
    open_library();
    set_hb_errno(0);
    Event_Call call;
    apply(call, 1, adapter_body({}));
    EXPECT_EQ(0, hb_get_errno());
}

ISOLATED_TEST(AnAdapterEvent, OfItsOwnKindsSetsNoError) {
    Fake_Daemon daemon;
    open_library();
    for (const int kind : {2, 3, 4}) {
        set_hb_errno(0);
        Event_Call call;
        apply(call, kind, adapter_body({{4, 6}, {0, 5}}));
        EXPECT_EQ(0, hb_get_errno()) << kind;
    }
}

} // namespace
} // namespace hb_test
