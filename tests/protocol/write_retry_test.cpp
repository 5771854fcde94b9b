// SPDX-License-Identifier: Apache-2.0
// The retried vector write, including two odd consequences of its rule for advancing.
#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/vexo/Hb_Csock.h"
#include "tests/support/bytes.h"
#include "tests/support/deadline.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/unique_fd.h"

namespace hb_test {
namespace {

class Pair {
  public:
    Pair() {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) == 0) {
            writing.reset(ends[0]);
            reading.reset(ends[1]);
        }
    }
    // Everything written so far.
    Bytes drain() const {
        std::array<char, 65536> buffer{};
        Bytes all;
        for (;;) {
            const ssize_t count = recv(reading.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (count <= 0) {
                return all;
            }
            all.add(bytes_of(buffer.data(), static_cast<std::size_t>(count)));
        }
    }
    Unique_Fd writing, reading;
};

// A prefix and a payload, as in the send of a record.
struct Record {
    explicit Record(Bytes bytes)
        : payload(std::move(bytes)),
          length(static_cast<int>(payload.size())), vectors{{{&length, 4}, {payload.data(), payload.size()}}} {}
    Bytes payload;
    int length;
    std::array<iovec, 2> vectors;
};

Fault writes_at_most(long count, int times = 1) {
    Fault fault;
    fault.call = Call::writev_;
    fault.at_most = count;
    fault.times = times;
    return fault;
}

TEST(WriteRetry, WritesBothVectorsAtOnceAndGivesTheirTotal) {
    const Pair pair;
    Record record({5, 6, 7});
    const Call_Log log;
    EXPECT_EQ(7, hb_writev_retry(pair.writing.get(), record.vectors.data(), 2));
    EXPECT_EQ(Bytes({3, 0, 0, 0, 5, 6, 7}), pair.drain());
    EXPECT_EQ(1U, log.calls(Call::writev_).size());
    EXPECT_TRUE(log.calls(Call::poll_).empty());
}

TEST(WriteRetry, LeavesTheCallersVectorsAlone) {
    const Pair pair;
    Record record({5, 6, 7});
    const Bytes before = bytes_of(record.vectors);
    const Fault_Guard partial(writes_at_most(4));
    hb_writev_retry(pair.writing.get(), record.vectors.data(), 2);
    EXPECT_EQ(before, bytes_of(record.vectors));
}

TEST(WriteRetry, AWriteOfNothingEndsItWithWhatWasWritten) {
    const Pair pair;
    Record record({5, 6, 7});
    Fault nothing;
    nothing.call = Call::writev_;
    nothing.result = 0;
    const Fault_Guard fault(nothing);
    EXPECT_EQ(0, hb_writev_retry(pair.writing.get(), record.vectors.data(), 2));
    EXPECT_TRUE(pair.drain().empty());
}

TEST(WriteRetry, AnInterruptionIsRepeatedAtOnce) {
    const Pair pair;
    Record record({5, 6, 7});
    const Fault_Guard fault = failing(Call::writev_, EINTR, 0, 3);
    const Call_Log log;
    EXPECT_EQ(7, hb_writev_retry(pair.writing.get(), record.vectors.data(), 2));
    EXPECT_EQ(4U, log.calls(Call::writev_).size());
    EXPECT_TRUE(log.calls(Call::poll_).empty());
    EXPECT_EQ(Bytes({3, 0, 0, 0, 5, 6, 7}), pair.drain());
}

TEST(WriteRetry, AFullBufferIsWaitedForWithoutLimitAndTheWriteRepeated) {
    const Pair pair;
    Record record({5, 6, 7});
    const Fault_Guard fault = failing(Call::writev_, EAGAIN, 0, 2);
    const Call_Log log;
    EXPECT_EQ(7, hb_writev_retry(pair.writing.get(), record.vectors.data(), 2));
    const auto waits = log.calls(Call::poll_);
    ASSERT_EQ(2U, waits.size());
    EXPECT_EQ(POLLOUT, waits[0].arguments[0]);
    EXPECT_EQ(-1, waits[0].arguments[1]);
    EXPECT_EQ(Bytes({3, 0, 0, 0, 5, 6, 7}), pair.drain());
}

TEST(WriteRetry, AnotherErrorIsGivenBack) {
    const Pair pair;
    Record record({5, 6, 7});
    const Fault_Guard fault = failing(Call::writev_, EIO);
    EXPECT_LT(hb_writev_retry(pair.writing.get(), record.vectors.data(), 2), 0);
    EXPECT_EQ(EIO, errno);
}

TEST(WriteRetry, AWriteThatEndsExactlyAfterThePrefixSendsThePrefixAgain) {
    const Pair pair;
    Record record({5, 6, 7});
    const Fault_Guard partial(writes_at_most(4));
    const Call_Log log;
    EXPECT_EQ(4 + 7, hb_writev_retry(pair.writing.get(), record.vectors.data(), 2));
    EXPECT_EQ(Bytes({3, 0, 0, 0, 3, 0, 0, 0, 5, 6, 7}), pair.drain());
    EXPECT_EQ(2U, log.calls(Call::writev_).size());
    EXPECT_EQ(1U, log.calls(Call::poll_).size()) << "it waits for room before it goes on";
}

TEST(WriteRetry, AWriteThatEndsInsideThePayloadFailsTheNextOne) {
    const Pair pair;
    Record record({5, 6, 7});
    const Fault_Guard partial(writes_at_most(5));
    const Call_Log log;
    EXPECT_LT(hb_writev_retry(pair.writing.get(), record.vectors.data(), 2), 0);
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(Bytes({3, 0, 0, 0, 5}), pair.drain());
    const auto writes = log.calls(Call::writev_);
    ASSERT_EQ(2U, writes.size());
    EXPECT_EQ(2, writes[0].arguments[0]);
    EXPECT_EQ(-1, writes[1].arguments[0]);
}

TEST(WriteRetry, AWriteThatEndsInsideThePrefixFailsTheNextOne) {
    const Pair pair;
    Record record({5, 6, 7});
    const Fault_Guard partial(writes_at_most(2));
    EXPECT_LT(hb_writev_retry(pair.writing.get(), record.vectors.data(), 2), 0);
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(Bytes({3, 0}), pair.drain());
}

TEST(WriteRetry, AnEmptyPayloadIsWrittenWithThePrefix) {
    const Pair pair;
    Record record(Bytes{});
    const Call_Log log;
    EXPECT_EQ(4, hb_writev_retry(pair.writing.get(), record.vectors.data(), 2));
    EXPECT_EQ(Bytes({0, 0, 0, 0}), pair.drain());
    EXPECT_EQ(1U, log.calls(Call::writev_).size());
}

TEST(WriteRetry, RefusesAnotherNumberOfVectorsThanItHasRoomForAndWritesNothing) {
    const Pair pair;
    char bytes[] = {1, 2, 3, 4};
    std::array<iovec, 4> vectors{{{bytes, 1}, {bytes + 1, 1}, {bytes + 2, 1}, {bytes + 3, 1}}};
    for (const int count : {3, 4, 1000000, -1, -2}) {
        const Call_Log log;
        errno = 0;
        EXPECT_EQ(-1, hb_writev_retry(pair.writing.get(), vectors.data(), count)) << count;
        EXPECT_EQ(EINVAL, errno) << count;
        EXPECT_TRUE(log.calls(Call::writev_).empty()) << count;
        EXPECT_TRUE(pair.drain().empty()) << count;
    }
}

// A real buffer that fills up, on a non-blocking descriptor.
TEST(WriteRetry, ARealPartialWriteFailsOnceThereIsRoomAgain) {
    const Pair pair;
    const int small = 4608;
    ASSERT_EQ(0, setsockopt(pair.writing.get(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small));
    ASSERT_EQ(0, fcntl(pair.writing.get(), F_SETFL, O_NONBLOCK));
    Record record(Bytes().fill(1000000, 'p'));

    Bytes got;
    std::atomic<bool> over{false};
    std::thread reader([&pair, &got, &over] {
        wait_until([&] {
            got.add(pair.drain());
            return over.load();
        });
    });
    const long result = hb_writev_retry(pair.writing.get(), record.vectors.data(), 2);
    const int error = errno;
    over = true;
    reader.join();
    EXPECT_LT(result, 0);
    EXPECT_EQ(EINVAL, error);
    EXPECT_EQ(Bytes({0x40, 0x42, 0x0F, 0x00}), got.first(4));
}

// The same two through a record's send.
ISOLATED_TEST(WriteRetry, TheFirstOddityIsStatus5OfASendAndTheSecondStatus9) {
    std::array<int, 2> ends{};
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()));
    const Unique_Fd other(ends[1]);
    Hb_Csock connection; // not connected; it receives one end
    close(connection.sock);
    connection.sock = ends[0];
    connection.myError = 0;
    char payload[] = {5, 6, 7};
    {
        const Fault_Guard partial(writes_at_most(4));
        EXPECT_EQ(Hb_Failure, connection.send(payload, 3));
        EXPECT_EQ(5, connection.Error());
    }
    {
        const Fault_Guard partial(writes_at_most(5));
        EXPECT_EQ(Hb_Failure, connection.send(payload, 3));
        EXPECT_EQ(9, connection.Error());
    }
}

} // namespace
} // namespace hb_test
