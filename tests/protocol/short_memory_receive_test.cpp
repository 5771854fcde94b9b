// SPDX-License-Identifier: Apache-2.0
// A record for which memory is short is skipped as a whole. The next record is read normally.
#include <memory>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/reply.h"
#include "lib/vexo/socket_path.h"
#include "tests/protocol/client.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"

namespace hb_test {
namespace {

Fake_Daemon_Plan plan_of(const Script &script) {
    Fake_Daemon_Plan plan;
    plan.connections = {script};
    plan.segments = no_segments();
    return plan;
}

Fault one_failing_allocation() {
    Fault fault;
    fault.call = Call::allocation;
    return fault;
}

struct Received {
    Hb_Rc result = 0;
    int length = 77;
    Bytes bytes;
};

Received receive(Hb_Csock &connection) {
    Received received;
    char *buffer = nullptr;
    received.result = connection.receive(&buffer, received.length);
    const std::unique_ptr<char[]> owner(buffer);
    if (received.result == Hb_Success) {
        received.bytes = bytes_of(buffer, static_cast<std::size_t>(received.length));
    }
    return received;
}

void expect_the_next_after(std::size_t length) {
    SCOPED_TRACE(length);
    const Bytes unwanted = Bytes().fill(length, 0x7F); // read as lengths, its bytes would be enormous
    Fake_Daemon daemon(plan_of({send_raw(frame(unwanted).add(frame({1, 2, 3})).add(frame({4})))}));
    ASSERT_TRUE(hb_resolve_socket_path());
    Hb_Csock connection;
    ASSERT_EQ(0, connection.Error());
    Received first;
    int hits = 0;
    {
        const Fault_Guard fault(one_failing_allocation());
        first = receive(connection);
        hits = fault.hits();
    }
    EXPECT_EQ(1, hits);
    EXPECT_EQ(Hb_Failure, first.result);
    EXPECT_EQ(77, first.length) << "nothing was handed out";
    EXPECT_EQ(13, connection.Error());
    EXPECT_EQ(Hb_False, connection.eof());
    EXPECT_EQ(Bytes({1, 2, 3}), receive(connection).bytes);
    EXPECT_EQ(Bytes({4}), receive(connection).bytes);
}

ISOLATED_TEST(ShortMemory, ARecordOfAnyLengthIsSkippedWhole) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{4095}, std::size_t{4096},
                                     std::size_t{4097}, std::size_t{100000}, std::size_t{108 + 6298676}}) {
        expect_the_next_after(length);
    }
}

ISOLATED_TEST(ShortMemory, ARecordThatTricklesInIsSkippedToItsLastByte) {
    Fake_Daemon daemon(plan_of({trickle_record(Bytes().fill(50, 0x7F)), send_record({9})}));
    ASSERT_TRUE(hb_resolve_socket_path());
    Hb_Csock connection;
    ASSERT_EQ(0, connection.Error());
    {
        const Fault_Guard fault(one_failing_allocation());
        EXPECT_EQ(Hb_Failure, receive(connection).result);
    }
    EXPECT_EQ(Bytes({9}), receive(connection).bytes);
}

ISOLATED_TEST(ShortMemory, ADaemonThatDiesInsideTheSkippedRecordIsTheEnd) {
    Fake_Daemon daemon(plan_of({send_raw(frame(Bytes().zeros(9000)).first(8000)), hang_up()}));
    ASSERT_TRUE(hb_resolve_socket_path());
    Hb_Csock connection;
    ASSERT_EQ(0, connection.Error());
    const Fault_Guard fault(one_failing_allocation());
    EXPECT_EQ(Hb_Failure, receive(connection).result);
    EXPECT_EQ(14, connection.Error());
    EXPECT_EQ(Hb_True, connection.eof());
}

ISOLATED_TEST(ShortMemory, AReplyWaitGivesError12AndTheNextReplyArrives) {
    Fake_Daemon daemon(plan_of({send_record(reply(8, Bytes().fill(9000, 0x7F))), send_record(reply(14))}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    client_packet *packet = nullptr;
    {
        const Fault_Guard fault(one_failing_allocation());
        EXPECT_EQ(Hb_Failure, hb_get_reply_from_server(HB_ROUTE, packet, nullptr));
    }
    EXPECT_EQ(12, hb_get_errno());
    EXPECT_EQ(Hb_Success, hb_get_reply_from_server(HB_ADAPTER_STATE, packet, nullptr));
    hb_free_packet(packet);
}

ISOLATED_TEST(ShortMemory, AnEventIsLostWithError12AndTheNextOneIsTaken) {
    Fake_Daemon daemon;
    open_library();
    daemon.run({send_record(reply(2, adapter_body({{4, 1}}))), send_record(reply(3, adapter_body({{8, 2}})))});
    Event_Call lost;
    {
        const Fault_Guard fault(one_failing_allocation());
        EXPECT_EQ(Hb_Failure, lost.take());
    }
    EXPECT_EQ(12, hb_get_errno());
    EXPECT_EQ(Event_Call::NO_EVENT, lost.events);
    EXPECT_EQ(Event_Call::NO_SEQUENCE, lost.sequence);
    EXPECT_TRUE(same_bytes(untouched_group(), lost.group_bytes()));
    Event_Call next;
    EXPECT_EQ(Hb_Success, next.take());
    EXPECT_EQ(2, next.events);
    EXPECT_EQ(Hb_Entity_Up, adapter_state(8));
    EXPECT_EQ(Hb_Entity_Up, adapter_state(4)) << "the death was not applied";
}

} // namespace
} // namespace hb_test
