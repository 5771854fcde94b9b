// SPDX-License-Identifier: Apache-2.0
// Waiting for a reply.
#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/reply.h"
#include "lib/hb_communication/request.h"
#include "tests/protocol/client.h"
#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/signal_pelter.h"

namespace hb_test {
namespace {

Fake_Daemon_Plan plan_of(const Script &script) {
    Fake_Daemon_Plan plan;
    plan.connections = {script};
    plan.segments = no_segments();
    return plan;
}

// The result of a wait for a reply, with the packet freed.
struct Outcome {
    Hb_Rc result = 0;
    int error = 0;
    int32_t kind = -1;
};

Outcome await(Hb_Client_Reply kind, timeval *timeout) {
    set_hb_errno(0);
    client_packet *packet = nullptr;
    Outcome outcome;
    outcome.result = hb_get_reply_from_server(kind, packet, timeout);
    outcome.error = hb_get_errno();
    if (packet != nullptr) {
        outcome.kind = packet->kind;
        delete[] reinterpret_cast<char *>(packet);
    }
    return outcome;
}

Outcome await(Hb_Client_Reply kind, timeval timeout) {
    return await(kind, &timeout);
}

ISOLATED_TEST(Reply, OfTheAwaitedKindIsHandedOverWhole) {
    Reply_Header header;
    header.kind = 8;
    header.value = 0x01020304;
    header.sequence = 0x99;
    const Bytes record = reply(header, {1, 2, 3});
    Fake_Daemon daemon(plan_of({send_record(record)}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    client_packet *packet = nullptr;
    ASSERT_EQ(Hb_Success, hb_get_reply_from_server(HB_ROUTE, packet, nullptr));
    ASSERT_NE(nullptr, packet);
    EXPECT_TRUE(same_bytes(record, bytes_of(packet, record.size())));
    delete[] reinterpret_cast<char *>(packet);
}

ISOLATED_TEST(Reply, OfEveryKindCanBeAwaited) {
    for (int kind = 0; kind <= 15; ++kind) {
        Fake_Daemon daemon(plan_of({send_record(reply(kind))}));
        ASSERT_EQ(Hb_Success, hb_init_communication());
        const Outcome outcome = await(static_cast<Hb_Client_Reply>(kind), {30, 0});
        EXPECT_EQ(Hb_Success, outcome.result) << kind;
        EXPECT_EQ(kind, outcome.kind);
    }
}

ISOLATED_TEST(Reply, AnEventInsteadOfItIsError10AndIsNotDeliveredLater) {
    Fake_Daemon daemon(plan_of({send_record(reply(12)), send_record(reply(14))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    const Outcome first = await(HB_ADAPTER_STATE, {30, 0});
    EXPECT_EQ(Hb_Failure, first.result);
    EXPECT_EQ(10, first.error);
    EXPECT_EQ(-1, first.kind) << "no packet was handed out";
    const Outcome second = await(HB_ADAPTER_STATE, {30, 0});
    EXPECT_EQ(Hb_Success, second.result);
    EXPECT_EQ(2, await(HB_FFDC_ID, {0, 0}).error);
}

ISOLATED_TEST(Reply, TheRequestIsNotRepeatedAfterAWrongKind) {
    Fake_Daemon daemon(plan_of({send_record(reply(12))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    ASSERT_EQ(Hb_Success, hb_send(HB_GET_ADAPTER_STATE, nullptr, 0));
    EXPECT_EQ(10, await(HB_ADAPTER_STATE, {30, 0}).error);
    ASSERT_EQ(Hb_Success, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    EXPECT_TRUE(same_bytes(frame(request(223, getpid())).add(frame(request(222, getpid()))),
                           daemon.wait_received(160)));
}

ISOLATED_TEST(Reply, AZeroTimeOutWithNothingWaitingIsError2AtOnce) {
    Fake_Daemon daemon(plan_of({}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    const Outcome outcome = await(HB_ROUTE, {0, 0});
    EXPECT_EQ(Hb_Failure, outcome.result);
    EXPECT_EQ(2, outcome.error);
}

ISOLATED_TEST(Reply, ATimeOutThatExpiresIsError2) {
    Fake_Daemon daemon(plan_of({}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    EXPECT_EQ(2, await(HB_ROUTE, {0, 20000}).error);
}

ISOLATED_TEST(Reply, TheCallersTimeOutIsNotChanged) {
    Fake_Daemon daemon(plan_of({wait_for([] { return Signal_Pelter::hits() >= 10; }), send_record(reply(8))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    const Signal_Pelter pelter;
    timeval timeout{50, 123};
    EXPECT_EQ(Hb_Success, await(HB_ROUTE, &timeout).result);
    EXPECT_EQ(50, timeout.tv_sec);
    EXPECT_EQ(123, timeout.tv_usec);
}

ISOLATED_TEST(Reply, WithoutATimeOutItWaitsForAsLongAsItTakes) {
    Fake_Daemon daemon(plan_of({wait_for([] { return Signal_Pelter::hits() >= 30; }), send_record(reply(8))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    const Signal_Pelter pelter;
    const Call_Log log;
    EXPECT_EQ(Hb_Success, await(HB_ROUTE, nullptr).result);
    EXPECT_TRUE(log.calls(Call::select_).empty());
    EXPECT_GE(Signal_Pelter::hits(), 30);
}

ISOLATED_TEST(Reply, SignalsDoNotEndTheWait) {
    Fake_Daemon daemon(plan_of({wait_for([] { return Signal_Pelter::hits() >= 30; }), send_record(reply(8))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    const Signal_Pelter pelter;
    const Call_Log log;
    EXPECT_EQ(Hb_Success, await(HB_ROUTE, {60, 0}).result);
    EXPECT_GT(log.calls(Call::select_).size(), 1U) << "it was interrupted and waited again";
}

ISOLATED_TEST(Reply, SignalsDoNotLengthenTheTimeOutForEver) {
    Fake_Daemon daemon(plan_of({}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    const Signal_Pelter pelter;
    EXPECT_EQ(2, await(HB_ROUTE, {0, 100000}).error);
}

ISOLATED_TEST(Reply, AnInterruptedWaitIsRepeatedForTheSameDescriptor) {
    Fake_Daemon daemon(plan_of({send_record(reply(8))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    const Fault_Guard fault = failing(Call::select_, EINTR, 0, 2);
    const Call_Log log;
    EXPECT_EQ(Hb_Success, await(HB_ROUTE, {30, 7}).result);
    const auto waits = log.calls(Call::select_);
    ASSERT_EQ(3U, waits.size());
    for (const Call_Record &wait : waits) {
        EXPECT_EQ(30, wait.arguments[1]);
        EXPECT_EQ(7, wait.arguments[2]);
    }
}

ISOLATED_TEST(Reply, AWaitThatFailsOtherwiseIsError12) {
    Fake_Daemon daemon(plan_of({send_record(reply(8))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    for (const int error : {EBADF, EAGAIN, EFAULT, EINVAL, ENOMEM}) {
        const Fault_Guard fault = failing(Call::select_, error);
        EXPECT_EQ(12, await(HB_ROUTE, {30, 0}).error);
    }
    EXPECT_EQ(Hb_Success, await(HB_ROUTE, {30, 0}).result) << "nothing was read meanwhile";
}

ISOLATED_TEST(Reply, OnlyTheConnectionIsWaitedFor) {
    Fake_Daemon daemon(plan_of({}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    std::array<int, 2> ends{};
    ASSERT_EQ(0, pipe(ends.data()));
    const Unique_Fd reading(ends[0]);
    const Unique_Fd writing(ends[1]);
    ASSERT_EQ(1, write(writing.get(), "x", 1));
    client_select->rd_set(reading.get());
    client_select->wr_set(writing.get());
    client_select->ex_set(reading.get());
    EXPECT_EQ(2, await(HB_ROUTE, {0, 0}).error);
    EXPECT_EQ(0, client_select->rd_isset(reading.get()));
    EXPECT_EQ(0, client_select->wr_isset(writing.get()));
}

ISOLATED_TEST(Reply, TheTimeOutBoundsTheFirstByteOnly) {
    const Bytes whole = frame(reply(8));
    Fake_Daemon daemon(
        plan_of({send_raw(whole.first(1)), wait_taken(), wait_for([] { return Signal_Pelter::hits() >= 20; }),
                 send_raw(whole.from(1))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    ASSERT_TRUE(wait_readable(client_socket->socket()));
    const Signal_Pelter pelter;
    EXPECT_EQ(Hb_Success, await(HB_ROUTE, {0, 0}).result);
}

ISOLATED_TEST(Reply, ThatTricklesInByteByByteArrivesWhole) {
    Fake_Daemon daemon(plan_of({trickle_record(reply(8, {1, 2, 3}))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    EXPECT_EQ(Hb_Success, await(HB_ROUTE, {30, 0}).result);
}

ISOLATED_TEST(Reply, ADaemonThatExitsDuringTheWaitIsError16) {
    for (const bool with_timeout : {true, false}) {
        Fake_Daemon daemon(plan_of({wait_for([] { return Signal_Pelter::hits() >= 20; }), hang_up()}));
        ASSERT_EQ(Hb_Success, hb_init_communication());
        const Signal_Pelter pelter;
        timeval timeout{60, 0};
        const Outcome outcome = await(HB_ROUTE, with_timeout ? &timeout : nullptr);
        EXPECT_EQ(Hb_Failure, outcome.result);
        EXPECT_EQ(16, outcome.error);
    }
}

ISOLATED_TEST(Reply, ADaemonThatDiesInsideARecordIsError16AndStaysThat) {
    const Bytes whole = frame(reply(8, {1, 2}));
    for (const std::size_t count : {std::size_t{1}, std::size_t{4}, std::size_t{5}, whole.size() - 1}) {
        Fake_Daemon daemon(plan_of({send_raw(whole.first(count)), hang_up()}));
        ASSERT_EQ(Hb_Success, hb_init_communication());
        EXPECT_EQ(16, await(HB_ROUTE, {30, 0}).error) << count;
        EXPECT_EQ(16, await(HB_ROUTE, {30, 0}).error) << "the socket stays at its end";
    }
}

ISOLATED_TEST(Reply, AReadThatFailsWithoutTheEndIsError12) {
    Fake_Daemon daemon(plan_of({send_record(reply(8))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    for (const int error : {EIO, EFAULT, ECONNRESET}) {
        const Fault_Guard fault = failing(Call::read_, error);
        EXPECT_EQ(12, await(HB_ROUTE, {30, 0}).error);
    }
}

ISOLATED_TEST(Reply, OfImpossibleLengthIsError12) {
    for (const int64_t length : {-1LL, 6298785LL}) {
        Fake_Daemon daemon(plan_of({send_raw(Bytes().i32(length))}));
        ASSERT_EQ(Hb_Success, hb_init_communication());
        EXPECT_EQ(12, await(HB_ROUTE, {30, 0}).error);
    }
}

ISOLATED_TEST(Reply, ThatEndsBeforeItsValueDoesIsError10) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{4}, std::size_t{59}}) {
        Fake_Daemon daemon(plan_of({send_record(reply(8).first(length)), send_record(reply(8))}));
        ASSERT_EQ(Hb_Success, hb_init_communication());
        EXPECT_EQ(10, await(HB_ROUTE, {30, 0}).error) << length;
        EXPECT_EQ(Hb_Success, await(HB_ROUTE, {30, 0}).result) << "the next record is in step";
    }
}

ISOLATED_TEST(Reply, ThatReachesItsValueIsHandedOverWithItsLength) {
    Reply_Header header;
    header.kind = 8;
    header.value = 0x01020304;
    const Bytes whole = reply(header, {1, 2, 3, 4});
    for (const int expected : {60, 61, 107, 108, 111, 112}) {
        Fake_Daemon daemon(plan_of({send_record(whole.first(static_cast<std::size_t>(expected)))}));
        ASSERT_EQ(Hb_Success, hb_init_communication());
        client_packet *packet = nullptr;
        int length = -1;
        ASSERT_EQ(Hb_Success, hb_get_reply_from_server(HB_ROUTE, packet, nullptr, &length)) << expected;
        EXPECT_EQ(expected, length);
        EXPECT_EQ(0x01020304, packet->value);
        delete[] reinterpret_cast<char *>(packet);
    }
}

ISOLATED_TEST(Reply, ThatFailsLeavesPacketAndLengthAlone) {
    Fake_Daemon daemon(plan_of({send_record(reply(12))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    client_packet *packet = nullptr;
    int length = -1;
    EXPECT_EQ(Hb_Failure, hb_get_reply_from_server(HB_ROUTE, packet, nullptr, &length));
    EXPECT_EQ(nullptr, packet);
    EXPECT_EQ(-1, length);
}

ISOLATED_TEST(Reply, OnADescriptorThatCannotBeWaitedForIsError12AtOnce) {
    const rlimit roomy{4096, 4096};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &roomy));
    Fake_Daemon daemon(plan_of({send_record(reply(8)), send_record(reply(8))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    for (const int number : {1024, 1500}) {
        ASSERT_EQ(number, dup2(client_socket->sock, number));
        close(client_socket->sock);
        client_socket->sock = number;
        const Call_Log log;
        EXPECT_EQ(12, await(HB_ROUTE, {60, 0}).error);
        EXPECT_TRUE(log.calls(Call::select_).empty());
        EXPECT_EQ(Hb_Success, await(HB_ROUTE, nullptr).result) << "without a time-out there is no need to wait";
    }
}

ISOLATED_TEST(Reply, TheHighestDescriptorThatCanBeWaitedForIs1023) {
    const rlimit roomy{4096, 4096};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &roomy));
    Fake_Daemon daemon(plan_of({send_record(reply(8))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    ASSERT_EQ(1023, dup2(client_socket->sock, 1023));
    close(client_socket->sock);
    client_socket->sock = 1023;
    EXPECT_EQ(Hb_Success, await(HB_ROUTE, {60, 0}).result);
}

} // namespace
} // namespace hb_test
