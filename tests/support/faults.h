// System calls and allocations made to fail, or to do less than asked, on the thread under test.
//
// The programs that link hb_test_faults send every call of the functions below, made by the library or by the
// test, through here (linker option --wrap). Nothing is changed until a fault is armed, and other threads,
// the fake daemon's among them, are never touched.
#ifndef HB_TEST_FAULTS_H
#define HB_TEST_FAULTS_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace hb_test {

enum class Call {
    socket_,
    setsockopt_,
    connect_,
    read_,
    write_,
    writev_,
    poll_,
    select_,
    ftok_,
    shmget_,
    shmat_,
    shmdt_,
    semget_,
    semop_,
    allocation, // operator new in every form, malloc and calloc
};

// What one call does instead of its work.
struct Fault {
    Call call = Call::read_;
    int skip = 0;               // so many calls work first
    int times = 1;              // then so many are hit; -1: all
    int error = 0;              // fails with this errno, unless 0
    long result = 0;            // otherwise gives this at once, unless `at_most` is set
    long at_most = -1;          // read and writev: works, on this many bytes at the most
    std::size_t bytes_from = 0; // allocation: those of fewer bytes work and do not count
};

// The fault is there for as long as this object.
class FaultGuard {
  public:
    explicit FaultGuard(const Fault &fault);
    FaultGuard(const FaultGuard &) = delete;
    FaultGuard &operator=(const FaultGuard &) = delete;
    ~FaultGuard();

    int hits() const; // calls that were hit so far

  private:
    std::size_t slot_;
};

FaultGuard failing(Call call, int error, int skip = 0, int times = 1);
// Allocations of so many bytes or more fail.
FaultGuard failing_large_allocations(std::size_t bytes, int skip = 0, int times = 1);

// What the wrapped calls of this thread were given, while the object lives.
struct CallRecord {
    Call call;
    long arguments[4];
};
class CallLog {
  public:
    CallLog();
    CallLog(const CallLog &) = delete;
    CallLog &operator=(const CallLog &) = delete;
    ~CallLog();
    // socket: domain, type, protocol. setsockopt: level, option, int value, length. connect: length.
    // read, write: count. writev: count of vectors. poll: events, time-out. ftok: project. shmget: size, flags.
    // select: number of descriptors, seconds and microseconds of the time-out, or -1 twice.
    // shmat: flags. semget: count, flags. allocation: bytes. semop: one record for each operation, with its
    // semaphore, number and flags, and how many operations the call had.
    std::vector<CallRecord> calls(Call call) const;

  private:
    std::vector<CallRecord> records_;
    friend void log_call(const CallRecord &record);
};

} // namespace hb_test

#endif
