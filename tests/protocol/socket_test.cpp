// SPDX-License-Identifier: Apache-2.0
// The client's stream socket: connecting, records, exact reads, statuses.
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/vexo/Hb_Csock.h"
#include "lib/vexo/socket_path.h"
#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"
#include "tests/support/signal_pelter.h"
#include "tests/support/temp_dir.h"

namespace hb_test {
namespace {

Fake_Daemon_Plan plan_of(const Script &script) {
    Fake_Daemon_Plan plan;
    plan.connections = {script};
    plan.segments = no_segments();
    return plan;
}

// A connected socket; the path comes from the environment that the fake daemon has set.
std::unique_ptr<Hb_Csock> connected() {
    EXPECT_TRUE(hb_resolve_socket_path());
    auto made = std::make_unique<Hb_Csock>();
    EXPECT_EQ(0, made->Error());
    return made;
}

// The result of receive, with the array freed.
Bytes taken(char *buffer, int length) {
    const std::unique_ptr<char[]> owner(buffer);
    return bytes_of(owner.get(), static_cast<std::size_t>(length));
}

// ---- Connecting ----

ISOLATED_TEST(Socket, ConnectsAndIsReadyToUse) {
    Fake_Daemon daemon(plan_of({}));
    const auto connection = connected();
    EXPECT_TRUE(daemon.wait_connections(1));
    EXPECT_GE(connection->socket(), 0);
    EXPECT_EQ(connection->sock, connection->socket());
    EXPECT_EQ(Hb_False, connection->eof());
    EXPECT_EQ(0, connection->Hb_Csock_Base::myError);
    EXPECT_EQ(AF_UNIX, connection->socket_un.sun_family);
    EXPECT_EQ(daemon.path(), connection->socket_un.sun_path);
}

ISOLATED_TEST(Socket, IsClosedInAProgramThatTheProcessStarts) {
    Fake_Daemon daemon(plan_of({}));
    const auto connection = connected();
    EXPECT_EQ(FD_CLOEXEC, fcntl(connection->socket(), F_GETFD));
}

ISOLATED_TEST(Socket, AsksForAUnixStreamWithBuffersOf32768BytesAndTheBarePath) {
    Fake_Daemon daemon(plan_of({}));
    const Call_Log log;
    const auto connection = connected();
    const auto made = log.calls(Call::socket_);
    ASSERT_EQ(1U, made.size());
    EXPECT_EQ(AF_UNIX, made[0].arguments[0]);
    EXPECT_EQ(SOCK_STREAM | SOCK_CLOEXEC, made[0].arguments[1]);
    EXPECT_EQ(0, made[0].arguments[2]);

    const auto options = log.calls(Call::setsockopt_);
    ASSERT_EQ(2U, options.size());
    EXPECT_EQ(SOL_SOCKET, options[0].arguments[0]);
    EXPECT_EQ(SO_SNDBUF, options[0].arguments[1]);
    EXPECT_EQ(32768, options[0].arguments[2]);
    EXPECT_EQ(4, options[0].arguments[3]);
    EXPECT_EQ(SOL_SOCKET, options[1].arguments[0]);
    EXPECT_EQ(SO_RCVBUF, options[1].arguments[1]);
    EXPECT_EQ(32768, options[1].arguments[2]);
    EXPECT_EQ(4, options[1].arguments[3]);

    const auto connects = log.calls(Call::connect_);
    ASSERT_EQ(1U, connects.size());
    EXPECT_EQ(static_cast<long>(daemon.path().size()) + 2, connects[0].arguments[0])
        << "the family and the path without its NUL";
}

ISOLATED_TEST(Socket, StaysBlocking) {
    Fake_Daemon daemon(plan_of({}));
    const auto connection = connected();
    EXPECT_EQ(0, fcntl(connection->socket(), F_GETFL) & O_NONBLOCK);
}

ISOLATED_TEST(Socket, NobodyListeningIsStatus4AndError15AndTheDescriptorIsStillClosed) {
    const Temp_Dir directory;
    const Environment_Guard path("HB_SERVER_SOCKET", directory.file("nobody"));
    const Environment_Guard domain("HA_DOMAIN_NAME", std::nullopt);
    const Environment_Guard partition("HA_SYSPAR_NAME", std::nullopt);
    ASSERT_TRUE(hb_resolve_socket_path());
    const int before = open_descriptors();
    {
        Hb_Csock connection;
        EXPECT_EQ(4, connection.Error());
        EXPECT_EQ(15, hb_get_errno());
        EXPECT_EQ(before + 1, open_descriptors());
    }
    EXPECT_EQ(before, open_descriptors());
}

ISOLATED_TEST(Socket, NoSocketIsStatus2AndError13) {
    const Fault_Guard fault = failing(Call::socket_, EMFILE);
    const int before = open_descriptors();
    {
        Hb_Csock connection;
        EXPECT_EQ(2, connection.Error());
        EXPECT_EQ(13, hb_get_errno());
        EXPECT_LT(connection.socket(), 0);
    }
    EXPECT_EQ(before, open_descriptors()) << "closing a negative descriptor does no harm";
}

ISOLATED_TEST(Socket, ARefusedBufferSizeIsStatus3AndError14ForEitherBuffer) {
    for (const int skip : {0, 1}) {
        const Fault_Guard fault = failing(Call::setsockopt_, ENOBUFS, skip);
        const Call_Log log;
        set_hb_errno(0);
        const int before = open_descriptors();
        {
            Hb_Csock connection;
            EXPECT_EQ(3, connection.Error()) << skip;
            EXPECT_EQ(14, hb_get_errno()) << skip;
            EXPECT_TRUE(log.calls(Call::connect_).empty());
        }
        EXPECT_EQ(before, open_descriptors());
    }
}

ISOLATED_TEST(Socket, TheDestructorClosesTheConnection) {
    Fake_Daemon daemon(plan_of({}));
    connected().reset();
    EXPECT_TRUE(daemon.wait_connections_ended(1));
}

ISOLATED_TEST(Socket, IsUsedThroughItsBase) {
    Fake_Daemon daemon(plan_of({send_record({7})}));
    const std::unique_ptr<Hb_Csock_Base> base = connected();
    char out[] = {1, 2};
    EXPECT_EQ(Hb_Success, base->send(out, 2));
    EXPECT_EQ(Bytes({2, 0, 0, 0, 1, 2}), daemon.wait_received(6));
    char *buffer = nullptr;
    int length = 0;
    ASSERT_EQ(Hb_Success, base->receive(&buffer, length));
    EXPECT_EQ(Bytes({7}), taken(buffer, length));
    EXPECT_EQ(0, base->Error());
    EXPECT_GE(base->socket(), 0);
}

// ---- Sending ----

ISOLATED_TEST(Socket, SendsTheLengthAndThePayloadInOneWrite) {
    Fake_Daemon daemon(plan_of({}));
    const auto connection = connected();
    const Call_Log log;
    char payload[] = {'a', 'b', 'c'};
    EXPECT_EQ(Hb_Success, connection->send(payload, 3));
    EXPECT_EQ(Bytes({3, 0, 0, 0, 'a', 'b', 'c'}), daemon.wait_received(7));
    ASSERT_EQ(1U, log.calls(Call::writev_).size());
    EXPECT_EQ(2, log.calls(Call::writev_)[0].arguments[0]);
}

ISOLATED_TEST(Socket, SendingNothingWritesTheLengthAndSucceeds) {
    Fake_Daemon daemon(plan_of({}));
    const auto connection = connected();
    char nothing = 0;
    EXPECT_EQ(Hb_Success, connection->send(&nothing, 0));
    EXPECT_EQ(0, connection->Error());
    char one[] = {9};
    EXPECT_EQ(Hb_Success, connection->send(one, 1));
    EXPECT_EQ(Bytes({0, 0, 0, 0, 1, 0, 0, 0, 9}), daemon.wait_received(9));
}

ISOLATED_TEST(Socket, SendsARecordMuchLargerThanTheBuffers) {
    Fake_Daemon daemon(plan_of({}));
    const auto connection = connected();
    Bytes much;
    for (unsigned i = 0; i < 1000000; ++i) {
        much.u8(i * 7U);
    }
    EXPECT_EQ(Hb_Success, connection->send(reinterpret_cast<char *>(much.data()), 1000000));
    EXPECT_TRUE(same_bytes(frame(much), daemon.wait_received(1000004)));
}

ISOLATED_TEST(Socket, AClosedPeerIsStatus14AndTheEnd) {
    signal(SIGPIPE, SIG_IGN);
    Fake_Daemon daemon(plan_of({hang_up()}));
    const auto connection = connected();
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    char payload[] = {1};
    EXPECT_EQ(Hb_Failure, connection->send(payload, 1));
    EXPECT_EQ(14, connection->Error());
    EXPECT_EQ(Hb_True, connection->eof());
}

TEST(Socket, AWriteToAClosedPeerRaisesTheSignalUnlessItIsIgnored) {
    const Isolated_Result result = run_in_child([] {
        Fake_Daemon daemon(plan_of({hang_up()}));
        const auto connection = connected();
        ASSERT_TRUE(daemon.wait_connections_ended(1));
        char payload[] = {1};
        connection->send(payload, 1);
        ADD_FAILURE() << "the signal did not come";
    });
    EXPECT_EQ(SIGPIPE, result.signal);
    EXPECT_TRUE(result.failures.empty());
}

ISOLATED_TEST(Socket, EachWriteErrorHasItsStatus) {
    const struct {
        int error;
        long status;
        Hb_Boolean eof;
    } rows[] = {{EFAULT, 1, Hb_False},
                {EIO, 8, Hb_False},
                {ENOBUFS, 9, Hb_False},
                {EINVAL, 9, Hb_False},
                {EPIPE, 14, Hb_True}};
    for (const auto &row : rows) {
        Fake_Daemon daemon(plan_of({}));
        const auto connection = connected();
        const Fault_Guard fault = failing(Call::writev_, row.error);
        char payload[] = {1};
        EXPECT_EQ(Hb_Failure, connection->send(payload, 1));
        EXPECT_EQ(row.status, connection->Error()) << strerror(row.error);
        EXPECT_EQ(row.eof, connection->eof()) << strerror(row.error);
        EXPECT_EQ(0, connection->Hb_Csock_Base::myError);
    }
}

ISOLATED_TEST(Socket, AShortWriteIsStatus5) {
    Fake_Daemon daemon(plan_of({}));
    const auto connection = connected();
    Fault nothing_written;
    nothing_written.call = Call::writev_;
    nothing_written.result = 0;
    const Fault_Guard fault(nothing_written);
    char payload[] = {1, 2};
    EXPECT_EQ(Hb_Failure, connection->send(payload, 2));
    EXPECT_EQ(5, connection->Error());
}

ISOLATED_TEST(Socket, ASuccessfulSendLeavesTheStatusAsItWas) {
    Fake_Daemon daemon(plan_of({}));
    const auto connection = connected();
    char payload[] = {1};
    {
        const Fault_Guard fault = failing(Call::writev_, EIO);
        EXPECT_EQ(Hb_Failure, connection->send(payload, 1));
    }
    EXPECT_EQ(Hb_Success, connection->send(payload, 1));
    EXPECT_EQ(8, connection->Error());
}

// ---- Receiving ----

ISOLATED_TEST(Socket, ReceivesARecord) {
    Fake_Daemon daemon(plan_of({send_record({1, 2, 3, 4, 5})}));
    const auto connection = connected();
    char *buffer = nullptr;
    int length = 0;
    ASSERT_EQ(Hb_Success, connection->receive(&buffer, length));
    EXPECT_EQ(5, length);
    EXPECT_EQ(Bytes({1, 2, 3, 4, 5}), taken(buffer, length));
    EXPECT_EQ(0, connection->Error());
}

ISOLATED_TEST(Socket, ReceivesRecordsOneByOneFromOneStream) {
    Fake_Daemon daemon(plan_of({send_raw(frame({1, 2}).add(frame({3})).add(frame({})).add(frame({4, 5, 6})))}));
    const auto connection = connected();
    for (const Bytes &wanted : {Bytes{1, 2}, Bytes{3}, Bytes{}, Bytes{4, 5, 6}}) {
        char *buffer = nullptr;
        int length = -1;
        ASSERT_EQ(Hb_Success, connection->receive(&buffer, length));
        EXPECT_EQ(wanted, taken(buffer, length));
    }
}

ISOLATED_TEST(Socket, ReceivesARecordThatTricklesInByteByByte) {
    Fake_Daemon daemon(plan_of({trickle_record({9, 8, 7, 6})}));
    const auto connection = connected();
    char *buffer = nullptr;
    int length = 0;
    ASSERT_EQ(Hb_Success, connection->receive(&buffer, length));
    EXPECT_EQ(Bytes({9, 8, 7, 6}), taken(buffer, length));
}

ISOLATED_TEST(Socket, ARecordOfLengthZeroIsASuccess) {
    Fake_Daemon daemon(plan_of({send_raw({0, 0, 0, 0})}));
    const auto connection = connected();
    char *buffer = nullptr;
    int length = 77;
    ASSERT_EQ(Hb_Success, connection->receive(&buffer, length));
    EXPECT_EQ(0, length);
    EXPECT_NE(nullptr, buffer);
    delete[] buffer;
}

ISOLATED_TEST(Socket, ReceivesTheLongestRecordThereIs) {
    Bytes longest;
    longest.fill(108 + 6298676, 'r');
    Fake_Daemon daemon(plan_of({send_record(longest)}));
    const auto connection = connected();
    char *buffer = nullptr;
    int length = 0;
    ASSERT_EQ(Hb_Success, connection->receive(&buffer, length));
    EXPECT_TRUE(same_bytes(longest, taken(buffer, length)));
}

ISOLATED_TEST(Socket, ALengthThatNoRecordHasIsStatus13AndNothingIsAllocated) {
    for (const int64_t length : {-1LL, -2147483648LL, 108LL + 6298676LL + 1LL, 2147483647LL}) {
        Fake_Daemon daemon(plan_of({send_raw(Bytes().i32(length))}));
        const auto connection = connected();
        Fault count_only;
        count_only.call = Call::allocation;
        count_only.times = -1;
        char *buffer = nullptr;
        int got = 77;
        const Call_Log log;
        const Hb_Rc result = connection->receive(&buffer, got);
        EXPECT_TRUE(log.calls(Call::allocation).empty()) << length;
        EXPECT_EQ(Hb_Failure, result) << length;
        EXPECT_EQ(13, connection->Error()) << length;
        EXPECT_EQ(Hb_False, connection->eof()) << length;
        EXPECT_EQ(77, got);
        EXPECT_EQ(nullptr, buffer);
    }
}

ISOLATED_TEST(Socket, ShortMemoryIsAFailureAndNoException) {
    Fake_Daemon daemon(plan_of({send_record({1, 2, 3})}));
    const auto connection = connected();
    char *buffer = nullptr;
    int length = 77;
    Fault short_memory;
    short_memory.call = Call::allocation;
    short_memory.times = -1;
    Hb_Rc result = Hb_Success;
    int hits = 0;
    {
        const Fault_Guard fault(short_memory);
        result = connection->receive(&buffer, length);
        hits = fault.hits();
    }
    EXPECT_EQ(1, hits);
    EXPECT_EQ(Hb_Failure, result);
    EXPECT_EQ(13, connection->Error());
}

ISOLATED_TEST(Socket, APeerThatDiesAtAnyByteIsTheEnd) {
    const Bytes whole = frame({1, 2, 3, 4});
    for (std::size_t count = 0; count < whole.size(); ++count) {
        Fake_Daemon daemon(plan_of({send_raw(whole.first(count)), hang_up()}));
        const auto connection = connected();
        char *buffer = nullptr;
        int length = 0;
        EXPECT_EQ(Hb_Failure, connection->receive(&buffer, length)) << "after " << count << " bytes";
        EXPECT_EQ(14, connection->Error());
        EXPECT_EQ(Hb_True, connection->eof());
    }
}

ISOLATED_TEST(Socket, TheEndStaysTheEnd) {
    Fake_Daemon daemon(plan_of({hang_up()}));
    const auto connection = connected();
    char byte = 0;
    EXPECT_EQ(Hb_Failure, connection->recvn(&byte, 1));
    EXPECT_EQ(Hb_Success, connection->recvn(&byte, 0)) << "nothing was asked for";
    EXPECT_EQ(0, connection->Error());
    EXPECT_EQ(Hb_True, connection->eof());
    EXPECT_EQ(Hb_Failure, connection->recvn(&byte, 1));
    EXPECT_EQ(14, connection->Error());
}

ISOLATED_TEST(Socket, AnExactReadTakesNoByteMore) {
    Fake_Daemon daemon(plan_of({send_raw({1, 2, 3, 4, 5})}));
    const auto connection = connected();
    std::array<char, 8> buffer{};
    EXPECT_EQ(Hb_Success, connection->recvn(buffer.data(), 2));
    EXPECT_EQ(Bytes({1, 2, 0}), bytes_of(buffer.data(), 3));
    EXPECT_EQ(Hb_Success, connection->recvn(buffer.data(), 3));
    EXPECT_EQ(Bytes({3, 4, 5, 0}), bytes_of(buffer.data(), 4));
}

ISOLATED_TEST(Socket, AReadInterruptedBySignalsDeliversTheFullCount) {
    Fake_Daemon daemon(plan_of({send_raw({1, 2, 3}), wait_for([] { return Signal_Pelter::hits() >= 20; }),
                                send_raw({4, 5, 6, 7, 8})}));
    const auto connection = connected();
    std::array<char, 8> buffer{};
    const Signal_Pelter pelter;
    EXPECT_EQ(Hb_Success, connection->recvn(buffer.data(), 8));
    EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 7, 8}), bytes_of(buffer.data(), 8));
    EXPECT_GE(Signal_Pelter::hits(), 20);
    EXPECT_EQ(0, connection->Error());
}

ISOLATED_TEST(Socket, EachReadErrorHasItsStatus) {
    const struct {
        int error;
        long status;
    } rows[] = {{EIO, 12}, {EFAULT, 1}, {ECONNRESET, 13}, {EBADF, 13}, {ENOMEM, 13}};
    for (const auto &row : rows) {
        Fake_Daemon daemon(plan_of({send_raw({1, 2})}));
        const auto connection = connected();
        const Fault_Guard fault = failing(Call::read_, row.error);
        char byte = 0;
        EXPECT_EQ(Hb_Failure, connection->recvn(&byte, 1));
        EXPECT_EQ(row.status, connection->Error()) << strerror(row.error);
        EXPECT_EQ(Hb_False, connection->eof()) << strerror(row.error);
        EXPECT_EQ(0, connection->Hb_Csock_Base::myError);
    }
}

ISOLATED_TEST(Socket, AnInterruptedReadIsRepeatedWithoutAWait) {
    Fake_Daemon daemon(plan_of({send_raw({1})}));
    const auto connection = connected();
    const Fault_Guard fault = failing(Call::read_, EINTR, 0, 3);
    const Call_Log log;
    char byte = 0;
    EXPECT_EQ(Hb_Success, connection->recvn(&byte, 1));
    EXPECT_EQ(4U, log.calls(Call::read_).size());
    EXPECT_TRUE(log.calls(Call::select_).empty());
}

ISOLATED_TEST(Socket, WithNothingToReadItWaitsInRoundsOfFiveSecondsAndATimeOutDoesNotEndIt) {
    Fake_Daemon daemon(plan_of({send_raw({1, 2})}));
    const auto connection = connected();
    const Fault_Guard empty = failing(Call::read_, EAGAIN, 0, 3);
    Fault expired;
    expired.call = Call::select_;
    expired.times = 3;
    expired.result = 0;
    const Fault_Guard rounds(expired);
    const Call_Log log;
    std::array<char, 2> buffer{};
    EXPECT_EQ(Hb_Success, connection->recvn(buffer.data(), 2));
    EXPECT_EQ(Bytes({1, 2}), bytes_of(buffer.data(), 2));
    const auto waits = log.calls(Call::select_);
    ASSERT_EQ(3U, waits.size());
    for (const Call_Record &wait : waits) {
        EXPECT_EQ(1024, wait.arguments[0]);
        EXPECT_EQ(5, wait.arguments[1]);
        EXPECT_EQ(0, wait.arguments[2]);
    }
}

ISOLATED_TEST(Socket, AWaitToldToTryAgainIsNoFailure) {
    Fake_Daemon daemon(plan_of({send_raw({1})}));
    const auto connection = connected();
    const Fault_Guard empty = failing(Call::read_, EAGAIN);
    const Fault_Guard again = failing(Call::select_, EAGAIN);
    char byte = 0;
    EXPECT_EQ(Hb_Success, connection->recvn(&byte, 1));
    EXPECT_EQ(1, byte);
    EXPECT_EQ(1, again.hits());
}

ISOLATED_TEST(Socket, AFailedWaitEndsTheReadWithTheStatusUnchanged) {
    for (const int error : {EBADF, EINVAL, EINTR, ENOMEM}) {
        Fake_Daemon daemon(plan_of({}));
        const auto connection = connected();
        connection->myError = 8;
        const Fault_Guard empty = failing(Call::read_, EAGAIN);
        const Fault_Guard broken = failing(Call::select_, error);
        char byte = 0;
        EXPECT_EQ(Hb_Failure, connection->recvn(&byte, 1)) << strerror(error);
        EXPECT_EQ(8, connection->Error()) << strerror(error);
        EXPECT_EQ(Hb_False, connection->eof());
    }
}

ISOLATED_TEST(Socket, OnANonBlockingDescriptorItWaitsForTheRest) {
    Fake_Daemon daemon(plan_of({trickle_raw({1, 2, 3, 4, 5, 6})}));
    const auto connection = connected();
    ASSERT_EQ(0, fcntl(connection->socket(), F_SETFL, O_NONBLOCK));
    std::array<char, 6> buffer{};
    EXPECT_EQ(Hb_Success, connection->recvn(buffer.data(), 6));
    EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6}), bytes_of(buffer.data(), 6));
}

ISOLATED_TEST(Socket, ADescriptorThatNoWaitSetHoldsFailsInsteadOfSpinning) {
    const rlimit roomy{4096, 4096};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &roomy));
    Fake_Daemon daemon(plan_of({}));
    const auto connection = connected();
    ASSERT_EQ(1500, dup2(connection->sock, 1500));
    close(connection->sock);
    connection->sock = 1500;
    ASSERT_EQ(0, fcntl(1500, F_SETFL, O_NONBLOCK));
    char byte = 0;
    EXPECT_EQ(Hb_Failure, connection->recvn(&byte, 1));
}

ISOLATED_TEST(Socket, AConnectionResetIsAReadFailureAndNotTheEnd) {
    // The daemon dies before it has read a request of this client.
    Fake_Daemon daemon(plan_of({stop_reading(), wait_told(), hang_up()}));
    const auto connection = connected();
    char payload[] = {1, 2, 3};
    ASSERT_EQ(Hb_Success, connection->send(payload, 3));
    daemon.tell();
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    char byte = 0;
    EXPECT_EQ(Hb_Failure, connection->recvn(&byte, 1));
    EXPECT_EQ(13, connection->Error());
    EXPECT_EQ(Hb_False, connection->eof());
}

} // namespace
} // namespace hb_test
