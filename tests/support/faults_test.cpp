// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <poll.h>
#include <sys/ipc.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/faults.h"
#include "tests/support/unique_fd.h"

namespace hb_test {
namespace {

class Pair : public testing::Test {
  protected:
    Pair() {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) == 0) {
            one.reset(ends[0]);
            two.reset(ends[1]);
        }
    }
    Unique_Fd one, two;
};

TEST(Faults, NothingIsChangedWhileNoneIsArmed) {
    const Unique_Fd made(socket(AF_UNIX, SOCK_STREAM, 0));
    EXPECT_TRUE(static_cast<bool>(made));
}

TEST(Faults, TheCallAfterTheSkippedOnesFails) {
    const Fault_Guard fault = failing(Call::socket_, EMFILE, 1);
    const Unique_Fd first(socket(AF_UNIX, SOCK_STREAM, 0));
    EXPECT_GE(first.get(), 0);
    EXPECT_EQ(-1, socket(AF_UNIX, SOCK_STREAM, 0));
    EXPECT_EQ(EMFILE, errno);
    const Unique_Fd third(socket(AF_UNIX, SOCK_STREAM, 0));
    EXPECT_GE(third.get(), 0);
    EXPECT_EQ(1, fault.hits());
}

TEST(Faults, EndWithTheirScope) {
    { const Fault_Guard fault = failing(Call::socket_, EMFILE, 0, -1); }
    const Unique_Fd made(socket(AF_UNIX, SOCK_STREAM, 0));
    EXPECT_GE(made.get(), 0);
}

TEST(Faults, OtherThreadsAreLeftAlone) {
    const Fault_Guard fault = failing(Call::socket_, EMFILE, 0, -1);
    std::thread other([] {
        const Unique_Fd made(socket(AF_UNIX, SOCK_STREAM, 0));
        EXPECT_GE(made.get(), 0);
    });
    other.join();
    EXPECT_EQ(0, fault.hits());
}

TEST_F(Pair, AWriteCanBeMadePartial) {
    Fault partial;
    partial.call = Call::writev_;
    partial.at_most = 3;
    const Fault_Guard fault(partial);
    char first[] = {'a', 'b'};
    char second[] = {'c', 'd'};
    iovec vectors[2] = {{first, 2}, {second, 2}};
    EXPECT_EQ(3, writev(one.get(), vectors, 2));
    EXPECT_EQ(4, writev(one.get(), vectors, 2));
    char got[16] = {};
    EXPECT_EQ(7, read(two.get(), got, sizeof got));
    EXPECT_STREQ("abcabcd", got);
}

TEST_F(Pair, ReadsCanBeCutOrAnsweredWithoutReading) {
    ASSERT_EQ(4, write(one.get(), "wxyz", 4));
    char got[8] = {};
    {
        Fault partial;
        partial.call = Call::read_;
        partial.at_most = 2;
        const Fault_Guard fault(partial);
        EXPECT_EQ(2, read(two.get(), got, 4));
    }
    {
        Fault end;
        end.call = Call::read_;
        end.result = 0;
        const Fault_Guard fault(end);
        EXPECT_EQ(0, read(two.get(), got, 4));
    }
    EXPECT_EQ(2, read(two.get(), got, 4));
}

TEST(Faults, EveryCallCanFail) {
    const int error = ENOMEM;
    char byte = 0;
    {
        const Fault_Guard fault = failing(Call::setsockopt_, error);
        const int size = 1;
        EXPECT_EQ(-1, setsockopt(0, SOL_SOCKET, SO_SNDBUF, &size, sizeof size));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::connect_, error);
        const sockaddr address{};
        EXPECT_EQ(-1, connect(-1, &address, sizeof address));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::read_, error);
        EXPECT_EQ(-1, read(-1, &byte, 1));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::writev_, error);
        const iovec vector{&byte, 1};
        EXPECT_EQ(-1, writev(-1, &vector, 1));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::poll_, error);
        EXPECT_EQ(-1, poll(nullptr, 0, 0));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::select_, error);
        timeval none{};
        EXPECT_EQ(-1, select(0, nullptr, nullptr, nullptr, &none));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::ftok_, error);
        EXPECT_EQ(-1, ftok("/", 1));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::shmget_, error);
        EXPECT_EQ(-1, shmget(1, 1, 0));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::shmat_, error);
        EXPECT_EQ(-1, reinterpret_cast<intptr_t>(shmat(1, nullptr, 0)));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::shmdt_, error);
        EXPECT_EQ(-1, shmdt(&byte));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::semget_, error);
        EXPECT_EQ(-1, semget(1, 1, 0));
        EXPECT_EQ(error, errno);
    }
    {
        const Fault_Guard fault = failing(Call::semop_, error);
        sembuf operation{0, 0, 0};
        const timespec at_once{0, 0};
        EXPECT_EQ(-1, semtimedop(-1, &operation, 1, &at_once));
        EXPECT_EQ(error, errno);
    }
}

TEST(Faults, SmallAllocationsWorkAndDoNotCountWhereLargeOnesFail) {
    std::vector<bool> made;
    made.reserve(6);
    {
        const Fault_Guard fault = failing_large_allocations(1000, 1);
        for (const std::size_t bytes : {999U, 1000U, 10U, 1000U, 1001U}) {
            char *volatile memory = new (std::nothrow) char[bytes];
            made.push_back(memory != nullptr);
            delete[] memory;
        }
        EXPECT_EQ(1, fault.hits());
    }
    EXPECT_EQ((std::vector<bool>{true, true, true, false, true}), made);
}

TEST(Faults, AllocationsFailInTheirOwnWay) {
    Fault short_memory;
    short_memory.call = Call::allocation;
    short_memory.times = -1;
    void *from_malloc = nullptr;
    void *from_calloc = nullptr;
    char *from_new = nullptr;
    bool thrown = false;
    int hits = 0;
    {
        const Fault_Guard fault(short_memory);
        from_malloc = malloc(16);
        from_calloc = calloc(2, 8);
        from_new = new (std::nothrow) char[16];
        try {
            char *volatile never = new char[16];
            delete[] never;
        } catch (const std::bad_alloc &) {
            thrown = true;
        }
        hits = fault.hits();
    }
    EXPECT_EQ(nullptr, from_malloc);
    EXPECT_EQ(nullptr, from_calloc);
    EXPECT_EQ(nullptr, from_new);
    EXPECT_TRUE(thrown);
    EXPECT_GE(hits, 4);
    free(from_malloc);
    free(from_calloc);
    delete[] from_new;
}

TEST(Faults, TheLogHoldsWhatCallsWereGiven) {
    const Call_Log log;
    const Unique_Fd made(socket(AF_UNIX, SOCK_STREAM, 0));
    timeval moment{0, 7};
    select(0, nullptr, nullptr, nullptr, &moment);
    const auto sockets = log.calls(Call::socket_);
    ASSERT_EQ(1U, sockets.size());
    EXPECT_EQ(AF_UNIX, sockets[0].arguments[0]);
    EXPECT_EQ(SOCK_STREAM, sockets[0].arguments[1]);
    const auto selects = log.calls(Call::select_);
    ASSERT_EQ(1U, selects.size());
    EXPECT_EQ(0, selects[0].arguments[0]);
    EXPECT_EQ(0, selects[0].arguments[1]);
    EXPECT_EQ(7, selects[0].arguments[2]);
}

} // namespace
} // namespace hb_test
