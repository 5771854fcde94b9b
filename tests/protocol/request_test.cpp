// SPDX-License-Identifier: Apache-2.0
// Sending a request.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/request.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/session_state.h"
#include "tests/protocol/client.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"

namespace hb_test {
namespace {

// A connection, while nothing else of the library is open.
void connect_only() {
    ASSERT_EQ(Hb_Success, hb_init_communication()) << "error " << hb_get_errno();
}

Fake_Daemon_Plan silent() {
    Fake_Daemon_Plan plan;
    plan.connections = {{}};
    plan.segments = no_segments();
    return plan;
}

ISOLATED_TEST(Request, IsAHeaderOf76BytesAndThePayloadBehindTheLength) {
    Fake_Daemon daemon(silent());
    connect_only();
    char payload[] = {'\x0A', '\x0B', '\x0C'};
    EXPECT_EQ(Hb_Success, hb_send(HB_UNSUBSCRIBE, payload, 3));
    const auto pid = static_cast<unsigned>(getpid());
    const Bytes expected = {79,
                            0,
                            0,
                            0, // the record's length
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0, // time of receipt
                            210,
                            0,
                            0,
                            0, // kind
                            3,
                            0,
                            0,
                            0, // bytes of payload
                            0,
                            0,
                            0,
                            0, // version
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0, // from
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0, // from group
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0, // to
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0, // to group
                            0,
                            0,
                            0,
                            0, // requestor
                            0,
                            0,
                            0,
                            0, // reserved
                            0,
                            0,
                            0,
                            0, // status
                            static_cast<unsigned char>(pid & 0xFFU),
                            static_cast<unsigned char>((pid >> 8U) & 0xFFU),
                            static_cast<unsigned char>((pid >> 16U) & 0xFFU),
                            static_cast<unsigned char>(pid >> 24U),
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0, // the rest of the origin
                            0x0A,
                            0x0B,
                            0x0C};
    EXPECT_TRUE(same_bytes(expected, daemon.wait_received(83)));
}

ISOLATED_TEST(Request, WithoutAPayloadIsARecordOf76Bytes) {
    Fake_Daemon daemon(silent());
    connect_only();
    EXPECT_EQ(Hb_Success, hb_send(HB_GET_CONFIG_INFO, nullptr, 0));
    EXPECT_TRUE(same_bytes(Bytes({76, 0, 0, 0}).add(request(201, getpid())), daemon.wait_received(80)));
}

ISOLATED_TEST(Request, GoesOutWithTheProcessIdTakenWhenItConnected) {
    Fake_Daemon daemon(silent());
    connect_only();
    EXPECT_EQ(getpid(), client_pid);
    client_pid = 0x01020304;
    EXPECT_EQ(Hb_Success, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    EXPECT_TRUE(same_bytes(frame(request(222, 0x01020304)), daemon.wait_received(80)));
}

ISOLATED_TEST(Request, CarriesEveryRequestCode) {
    Fake_Daemon daemon(silent());
    connect_only();
    const struct {
        Hb_Client_Request request;
        int code;
    } rows[] = {{HB_GET_CONFIG_INFO, 201},
                {HB_GET_ADAPTER_GROUP, 202},
                {HB_NODE_MAY_BE_DOWN, 203},
                {HB_NODE_IS_DOWN, 204},
                {HB_ADAPTER_MAY_BE_DOWN, 205},
                {HB_ADAPTER_IS_DOWN, 206},
                {HB_ENABLE_ADAPTER, 207},
                {HB_DISABLE_ADAPTER, 208},
                {HB_SUBSCRIBE, 209},
                {HB_UNSUBSCRIBE, 210},
                {HB_GET_ROUTE, 211},
                {HB_IFCONFIG_DOWN, 212},
                {HB_IFCONFIG_UP, 213},
                {HB_CONFIGURE_ADAPTER, 214},
                {HB_UNCONFIGURE_ADAPTER, 215},
                {HB_ADAPTER_GRACE_REQ, 216},
                {HB_SIMULATE_DEATH, 217},
                {HB_SWAP_ADAPTERS, 218},
                {HB_DISCARD_STALE_MESSAGES, 219},
                {HB_DONT_DISCARD_STALE_MESSAGES, 220},
                {HB_DAEMON_ROUTING_REQUEST, 221},
                {HB_CLIENT_HEARTBEAT, 222},
                {HB_GET_ADAPTER_STATE, 223},
                {HB_SEND_CONFIG_INFO, 224},
                {HB_ENABLE_MANUAL_CONTROL_NIMS, 225},
                {HB_DISABLE_MANUAL_CONTROL_NIMS, 226},
                {HB_DELAYED_DAEMON_SHUTDOWN, 227}};
    Bytes expected;
    for (const auto &row : rows) {
        EXPECT_EQ(Hb_Success, hb_send(row.request, nullptr, 0));
        expected.add(frame(request(row.code, getpid())));
    }
    EXPECT_TRUE(same_bytes(expected, daemon.wait_received(expected.size())));
    EXPECT_EQ(227, MONITOR_LAST_MESSAGE);
}

ISOLATED_TEST(Request, ANullPayloadWithALengthSendsThatManyZeros) {
    Fake_Daemon daemon(silent());
    connect_only();
    EXPECT_EQ(Hb_Success, hb_send(HB_ADAPTER_IS_DOWN, nullptr, 5));
    EXPECT_TRUE(same_bytes(frame(request(206, getpid(), Bytes().zeros(5))), daemon.wait_received(85)));
}

ISOLATED_TEST(Request, OfAsManyBytesAsAPacketHoldsIsSentWhole) {
    Fake_Daemon daemon(silent());
    connect_only();
    Bytes payload;
    for (unsigned i = 0; i < 16460; ++i) {
        payload.u8(i * 3U + 1U);
    }
    EXPECT_EQ(Hb_Success, hb_send(HB_DAEMON_ROUTING_REQUEST, payload.data(), 16460));
    EXPECT_TRUE(same_bytes(frame(request(221, getpid(), payload)), daemon.wait_received(4 + 76 + 16460)));
}

ISOLATED_TEST(Request, LongerThanAPacketIsExactlyItsHeaderAndItsLengthOfZeros) {
    Fake_Daemon daemon(silent());
    connect_only();
    EXPECT_EQ(Hb_Success, hb_send(HB_ADAPTER_IS_DOWN, nullptr, 98351));
    EXPECT_EQ(Hb_Success, hb_send(HB_NODE_IS_DOWN, nullptr, 16461));
    Bytes expected = Bytes().i32(98427).add(request(206, getpid(), Bytes().zeros(98351)));
    expected.add(Bytes().i32(16537).add(request(204, getpid(), Bytes().zeros(16461))));
    EXPECT_TRUE(same_bytes(expected, daemon.wait_received(expected.size())));
}

ISOLATED_TEST(Request, LongerThanAPacketCarriesTheGivenData) {
    Fake_Daemon daemon(silent());
    connect_only();
    Bytes payload;
    for (unsigned i = 0; i < 20000; ++i) {
        payload.u8(i * 5U + 1U);
    }
    EXPECT_EQ(Hb_Success, hb_send(HB_DAEMON_ROUTING_REQUEST, payload.data(), 20000));
    EXPECT_TRUE(same_bytes(frame(request(221, getpid(), payload)), daemon.wait_received(4 + 76 + 20000)));
}

ISOLATED_TEST(Request, OfNegativeLengthIsError22AndNothingIsSent) {
    Fake_Daemon daemon(silent());
    connect_only();
    for (const int length : {-1, -76, -80, -2147483647 - 1}) {
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, hb_send(HB_ADAPTER_IS_DOWN, nullptr, length)) << length;
        EXPECT_EQ(22, hb_get_errno()) << length;
    }
    EXPECT_EQ(Hb_Success, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    EXPECT_TRUE(same_bytes(frame(request(222, getpid())), daemon.wait_received(80)));
}

ISOLATED_TEST(Request, TooLongForARecordsLengthIsError22AndNothingIsSent) {
    Fake_Daemon daemon(silent());
    connect_only();
    EXPECT_EQ(Hb_Failure, hb_send(HB_ADAPTER_IS_DOWN, nullptr, 2147483647));
    EXPECT_EQ(22, hb_get_errno());
    EXPECT_EQ(Hb_Success, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    EXPECT_TRUE(same_bytes(frame(request(222, getpid())), daemon.wait_received(80)));
}

ISOLATED_TEST(Request, WithoutAConnectionIsError22) {
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(Hb_Failure, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    EXPECT_EQ(22, hb_get_errno());
}

ISOLATED_TEST(Request, InClusterEventModeSucceedsWithoutAConnection) {
    IsMOX = true;
    EXPECT_EQ(Hb_Success, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    char payload[] = {1};
    EXPECT_EQ(Hb_Success, hb_send(HB_UNSUBSCRIBE, payload, 1));
    EXPECT_EQ(0, hb_get_errno());
}

ISOLATED_TEST(Request, InClusterEventModeSendsNothingOverAConnectionThatIsThere) {
    Fake_Daemon daemon(silent());
    connect_only();
    IsMOX = true;
    EXPECT_EQ(Hb_Success, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    IsMOX = false;
    EXPECT_EQ(Hb_Success, hb_send(HB_GET_CONFIG_INFO, nullptr, 0));
    EXPECT_TRUE(same_bytes(frame(request(201, getpid())), daemon.wait_received(80)));
}

ISOLATED_TEST(Request, ToADaemonThatHasGoneIsError16) {
    signal(SIGPIPE, SIG_IGN);
    Fake_Daemon daemon(silent());
    connect_only();
    daemon.run(hang_up());
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    for (int i = 0; i < 2; ++i) {
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
        EXPECT_EQ(16, hb_get_errno()) << "every later request fails alike";
    }
}

// A connection whose send fails with a status of the test's choice.
class Refusing_Socket : public Hb_Csock {
  public:
    explicit Refusing_Socket(long status) : status_(status) {}
    long Error() override { return status_; }
    Hb_Rc send(char *, int) override { return Hb_Failure; }

  private:
    long status_;
};

ISOLATED_TEST(Request, EachSocketStatusHasItsErrorNumber) {
    const struct {
        long status;
        int error;
    } rows[] = {{1, 18}, {6, 19}, {7, 20}, {8, 21}, {14, 16}, {5, 22}, {9, 22}, {0, 22}, {2, 22}, {99, 22}};
    for (const auto &row : rows) {
        Refusing_Socket refusing(row.status);
        client_socket = &refusing;
        hb_set_session_state(Hb_Session_State::half_open);
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
        EXPECT_EQ(row.error, hb_get_errno()) << "status " << row.status;
        client_socket = nullptr;
    }
}

ISOLATED_TEST(Request, EachSystemErrorOfTheWriteHasItsErrorNumber) {
    Fake_Daemon daemon(silent());
    connect_only();
    const struct {
        int error;
        int number;
    } rows[] = {{EFAULT, 18}, {EIO, 21}, {ENOBUFS, 22}, {EPIPE, 16}};
    for (const auto &row : rows) {
        const Fault_Guard fault = failing(Call::writev_, row.error);
        EXPECT_EQ(Hb_Failure, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
        EXPECT_EQ(row.number, hb_get_errno()) << strerror(row.error);
    }
}

ISOLATED_TEST(Request, AShortWriteIsError22) {
    Fake_Daemon daemon(silent());
    connect_only();
    Fault nothing_written;
    nothing_written.call = Call::writev_;
    nothing_written.result = 0;
    const Fault_Guard fault(nothing_written);
    EXPECT_EQ(Hb_Failure, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    EXPECT_EQ(22, hb_get_errno());
}

ISOLATED_TEST(Request, ShortMemoryForALongOneIsAFailureWithNothingSent) {
    Fake_Daemon daemon(silent());
    connect_only();
    Fault short_memory;
    short_memory.call = Call::allocation;
    short_memory.times = -1;
    Hb_Rc result = Hb_Success;
    {
        const Fault_Guard fault(short_memory);
        result = hb_send(HB_ADAPTER_IS_DOWN, nullptr, 98351);
    }
    EXPECT_EQ(Hb_Failure, result);
    EXPECT_EQ(Hb_Success, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    EXPECT_TRUE(same_bytes(frame(request(222, getpid())), daemon.wait_received(80)));
}

} // namespace
} // namespace hb_test
