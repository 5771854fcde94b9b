// SPDX-License-Identifier: Apache-2.0
// The descriptor wait set.
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "lib/vexo/Hb_Select.h"
#include "tests/support/bytes.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/signal_pelter.h"
#include "tests/support/unique_fd.h"

namespace hb_test {
namespace {

class Pair {
  public:
    Pair() {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) == 0) {
            one.reset(ends[0]);
            two.reset(ends[1]);
        }
    }
    Unique_Fd one, two;
};

// One of the three families of operations, so that each test covers all three.
struct Family {
    const char *name;
    void (Hb_Select_Base::*zero)();
    void (Hb_Select_Base::*set)(int);
    void (Hb_Select_Base::*clr)(int);
    int (Hb_Select_Base::*isset)(int) const;
    fd_set Hb_Select_Base::*fds;
    fd_set *Hb_Select_Base::*fds_ptr;
    int Hb_Select_Base::*count;
};

class WaitSetFamily : public testing::TestWithParam<Family> {
  protected:
    void zero() { (waits.*GetParam().zero)(); }
    void set(int fd) { (waits.*GetParam().set)(fd); }
    void clr(int fd) { (waits.*GetParam().clr)(fd); }
    int isset(int fd) const { return (waits.*GetParam().isset)(fd); }
    Bytes bits() const { return bytes_of(waits.*GetParam().fds); }
    fd_set *pointer() const { return waits.*GetParam().fds_ptr; }
    fd_set *own_set() { return &(waits.*GetParam().fds); }
    int count() const { return waits.*GetParam().count; }

    Hb_Select waits;
};

const Family FAMILIES[] = {
    {"Read", &Hb_Select_Base::rd_zero, &Hb_Select_Base::rd_set, &Hb_Select_Base::rd_clr,
     &Hb_Select_Base::rd_isset, &Hb_Select_Base::rd_fds, &Hb_Select_Base::rd_fds_ptr,
     &Hb_Select_Base::rd_count},
    {"Write", &Hb_Select_Base::wr_zero, &Hb_Select_Base::wr_set, &Hb_Select_Base::wr_clr,
     &Hb_Select_Base::wr_isset, &Hb_Select_Base::wr_fds, &Hb_Select_Base::wr_fds_ptr,
     &Hb_Select_Base::wr_count},
    {"Exception", &Hb_Select_Base::ex_zero, &Hb_Select_Base::ex_set, &Hb_Select_Base::ex_clr,
     &Hb_Select_Base::ex_isset, &Hb_Select_Base::ex_fds, &Hb_Select_Base::ex_fds_ptr,
     &Hb_Select_Base::ex_count},
};

INSTANTIATE_TEST_SUITE_P(AllThree, WaitSetFamily, testing::ValuesIn(FAMILIES),
                         [](const testing::TestParamInfo<Family> &family) { return family.param.name; });

TEST_P(WaitSetFamily, StartsEmpty) {
    EXPECT_EQ(Bytes().zeros(128), bits());
    EXPECT_EQ(nullptr, pointer());
    EXPECT_EQ(0, count());
}

TEST_P(WaitSetFamily, SettingPutsTheBitIntoItsWord) {
    set(0);
    set(37);
    set(1023);
    Bytes expected = Bytes().zeros(128);
    expected.put_i32(0, 1);              // bit 0 of word 0
    expected.put_i32(4, 0x20);           // bit 5 of word 1
    expected.put_i32(124, 0x80000000LL); // bit 31 of word 31
    EXPECT_TRUE(same_bytes(expected, bits()));
    EXPECT_EQ(own_set(), pointer());
    EXPECT_EQ(3, count());
    EXPECT_EQ(1, isset(37));
    EXPECT_EQ(0, isset(38));
}

TEST_P(WaitSetFamily, SetTwiceAndClearedOnceCountsOneAndTheBitIsClear) {
    set(5);
    set(5);
    EXPECT_EQ(2, count());
    clr(5);
    EXPECT_EQ(1, count());
    EXPECT_EQ(0, isset(5));
    EXPECT_EQ(own_set(), pointer());
}

TEST_P(WaitSetFamily, ClearingTheLastOneDropsThePointer) {
    set(5);
    clr(5);
    EXPECT_EQ(0, count());
    EXPECT_EQ(nullptr, pointer());
    EXPECT_EQ(Bytes().zeros(128), bits());
}

TEST_P(WaitSetFamily, CountsAreNotGuarded) {
    clr(5);
    EXPECT_EQ(-1, count());
}

TEST_P(WaitSetFamily, ZeroForgetsEverything) {
    set(1);
    set(900);
    zero();
    EXPECT_EQ(Bytes().zeros(128), bits());
    EXPECT_EQ(nullptr, pointer());
    EXPECT_EQ(0, count());
}

TEST_P(WaitSetFamily, ADescriptorBeyondTheBitsIsNeverSetAndSpoilsNothing) {
    const Bytes rest_before = bytes_of(waits.wait_time);
    for (const int fd : {1024, 5000, -1}) {
        set(fd);
        EXPECT_EQ(0, isset(fd)) << fd;
        clr(fd);
    }
    EXPECT_EQ(Bytes().zeros(128), bits());
    EXPECT_EQ(rest_before, bytes_of(waits.wait_time));
}

TEST_P(WaitSetFamily, LeavesTheOtherTwoAlone) {
    set(3);
    int total = 0;
    for (const Family &family : FAMILIES) {
        total += (waits.*family.isset)(3);
    }
    EXPECT_EQ(1, total);
}

// Replaces only the sets and the time-out, as another transport would.
class Bare_Waits : public Hb_Select_Base {
  public:
    Hb_Rc wait() override { return Hb_Failure; }
};

TEST(WaitSet, TheBaseStartsWithTenSeconds) {
    const Bare_Waits waits;
    EXPECT_EQ(10, waits.wait_time.tv_sec);
    EXPECT_EQ(0, waits.wait_time.tv_usec);
    EXPECT_EQ(&waits.wait_time, waits.wait_time_ptr);
    EXPECT_EQ(0, waits.myError);
}

TEST(WaitSet, AFreshOneWithNothingSetWaitsNoTimeAndSucceeds) {
    Hb_Select waits;
    EXPECT_EQ(0, waits.wait_time.tv_sec);
    EXPECT_EQ(0, waits.wait_time.tv_usec);
    EXPECT_EQ(&waits.wait_time, waits.wait_time_ptr);
    EXPECT_EQ(0, waits.Error());
    EXPECT_EQ(Hb_Success, waits.wait());
}

TEST(WaitSet, TheTimeOutIsStored) {
    Hb_Select waits;
    waits.timeout({3, 4});
    EXPECT_EQ(3, waits.wait_time.tv_sec);
    EXPECT_EQ(4, waits.wait_time.tv_usec);
    EXPECT_EQ(&waits.wait_time, waits.wait_time_ptr);
    waits.wait_time_ptr = nullptr;
    waits.non_blocking_timeout();
    EXPECT_EQ(0, waits.wait_time.tv_sec);
    EXPECT_EQ(0, waits.wait_time.tv_usec);
    EXPECT_EQ(&waits.wait_time, waits.wait_time_ptr);
}

TEST(WaitSet, EveryWaitAsksForTheWholeRangeWithTheStoredTimeOut) {
    Hb_Select waits;
    waits.timeout({0, 5});
    const Call_Log log;
    EXPECT_EQ(Hb_Success, waits.wait());
    const auto calls = log.calls(Call::select_);
    ASSERT_EQ(1U, calls.size());
    EXPECT_EQ(1024, calls[0].arguments[0]);
    EXPECT_EQ(0, calls[0].arguments[1]);
    EXPECT_EQ(5, calls[0].arguments[2]);
}

TEST(WaitSet, WithoutATimeOutItWaitsUntilThereIsSomething) {
    const Pair pair;
    ASSERT_EQ(1, send(pair.two.get(), "x", 1, 0));
    Hb_Select waits;
    waits.wait_time_ptr = nullptr;
    waits.rd_set(pair.one.get());
    const Call_Log log;
    EXPECT_EQ(Hb_Success, waits.wait());
    EXPECT_EQ(1, waits.rd_isset(pair.one.get()));
    ASSERT_EQ(1U, log.calls(Call::select_).size());
    EXPECT_EQ(-1, log.calls(Call::select_)[0].arguments[1]) << "no time-out was passed";
}

TEST(WaitSet, ReadyDescriptorsAloneStaySet) {
    const Pair ready;
    const Pair idle;
    ASSERT_EQ(1, send(ready.two.get(), "x", 1, 0));
    Hb_Select waits;
    waits.timeout({30, 0});
    waits.rd_set(ready.one.get());
    waits.rd_set(idle.one.get());
    EXPECT_EQ(Hb_Success, waits.wait());
    EXPECT_EQ(1, waits.rd_isset(ready.one.get()));
    EXPECT_EQ(0, waits.rd_isset(idle.one.get()));
}

TEST(WaitSet, TheWriteSetIsWaitedForToo) {
    const Pair pair;
    Hb_Select waits;
    waits.timeout({30, 0});
    waits.wr_set(pair.one.get());
    EXPECT_EQ(Hb_Success, waits.wait());
    EXPECT_EQ(1, waits.wr_isset(pair.one.get()));
}

TEST(WaitSet, TheExceptionSetIsWaitedForToo) {
    const Pair pair;
    Hb_Select waits;
    waits.ex_set(pair.one.get());
    EXPECT_EQ(Hb_Success, waits.wait());
    EXPECT_EQ(0, waits.ex_isset(pair.one.get())) << "nothing exceptional is pending";
}

TEST(WaitSet, ATimeOutIsASuccessWithNothingSet) {
    const Pair pair;
    Hb_Select waits;
    waits.timeout({0, 1000});
    waits.rd_set(pair.one.get());
    EXPECT_EQ(Hb_Success, waits.wait());
    EXPECT_EQ(0, waits.rd_isset(pair.one.get()));
}

ISOLATED_TEST(WaitSet, ASignalInterruptsTheWaitWithStatus3) {
    const Pair pair;
    Hb_Select waits;
    waits.timeout({30, 0});
    waits.rd_set(pair.one.get());
    const Signal_Pelter pelter;
    EXPECT_EQ(Hb_Failure, waits.wait());
    EXPECT_EQ(3, waits.Error());
}

TEST(WaitSet, AClosedDescriptorIsStatus1) {
    int fd = -1;
    {
        const Pair pair;
        fd = pair.one.get();
    }
    Hb_Select waits;
    waits.rd_set(fd);
    EXPECT_EQ(Hb_Failure, waits.wait());
    EXPECT_EQ(1, waits.Error());
}

TEST(WaitSet, AnImpossibleTimeOutIsStatus4) {
    Hb_Select waits;
    waits.timeout({-1, 0});
    EXPECT_EQ(Hb_Failure, waits.wait());
    EXPECT_EQ(4, waits.Error());
}

TEST(WaitSet, EachSystemErrorHasItsStatus) {
    const struct {
        int error;
        long status;
    } rows[] = {{EINTR, 3}, {EBADF, 1}, {EAGAIN, 7}, {EFAULT, 5}, {EINVAL, 4}, {ENOMEM, 6}, {EIO, 6}};
    for (const auto &row : rows) {
        Hb_Select waits;
        const Fault_Guard fault = failing(Call::select_, row.error);
        EXPECT_EQ(Hb_Failure, waits.wait());
        EXPECT_EQ(row.status, waits.Error()) << strerror(row.error);
        EXPECT_EQ(row.status, waits.myError);
        EXPECT_EQ(0, waits.Hb_Select_Base::myError) << "the base's own status is another one";
    }
}

TEST(WaitSet, AStatusStaysUntilTheNextFailure) {
    Hb_Select waits;
    {
        const Fault_Guard fault = failing(Call::select_, EBADF);
        EXPECT_EQ(Hb_Failure, waits.wait());
    }
    EXPECT_EQ(Hb_Success, waits.wait());
    EXPECT_EQ(1, waits.Error());
}

TEST(WaitSet, TheStatusIsReadThroughTheBase) {
    Hb_Select waits;
    const Fault_Guard fault = failing(Call::select_, EFAULT);
    Hb_Select_Base &base = waits;
    EXPECT_EQ(Hb_Failure, base.wait());
    EXPECT_EQ(5, base.Error());
}

} // namespace
} // namespace hb_test
