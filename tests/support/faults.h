// SPDX-License-Identifier: Apache-2.0
// Makes system calls and allocations fail, or do less than asked, on the thread under test.
//
// In programs that link hb_test_faults, every call of the functions below goes through here, whether the
// library or the test makes it (linker option --wrap). Nothing changes until a fault is armed. Other threads
// are never affected, including the fake daemon's.
#pragma once

#include <cstddef>
#include <string>
#include <sys/types.h>
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

// The effect on one call.
struct Fault {
    Call call = Call::read_;
    int skip = 0;               // this many calls work first
    int times = 1;              // then this many are affected; -1: all
    int error = 0;              // fails with this errno, unless 0
    long result = 0;            // otherwise returns this at once, unless `at_most` is set
    long at_most = -1;          // read and writev: works, on at most this many bytes
    std::size_t bytes_from = 0; // allocation: smaller ones work and do not count
};

// The fault lasts as long as this object.
class Fault_Guard {
  public:
    explicit Fault_Guard(const Fault &fault);
    Fault_Guard(const Fault_Guard &) = delete;
    Fault_Guard &operator=(const Fault_Guard &) = delete;
    ~Fault_Guard();

    int hits() const; // calls affected so far

  private:
    std::size_t slot_;
};

Fault_Guard failing(Call call, int error, int skip = 0, int times = 1);
// Makes allocations of this many bytes or more fail.
Fault_Guard failing_large_allocations(std::size_t bytes, int skip = 0, int times = 1);

// Records the arguments of this thread's wrapped calls while the object exists.
struct Call_Record {
    Call call;
    long arguments[4];
};
class Call_Log {
  public:
    Call_Log();
    Call_Log(const Call_Log &) = delete;
    Call_Log &operator=(const Call_Log &) = delete;
    ~Call_Log();
    // socket: domain, type, protocol. setsockopt: level, option, int value, length. connect: length.
    // read, write: count. writev: count of vectors. poll: events, time-out. ftok: project. shmget: size, flags.
    // select: number of descriptors, seconds and microseconds of the time-out, or -1 twice.
    // shmat: flags. semget: count, flags. allocation: bytes. semop: one record for each operation, with its
    // semaphore, number and flags, and how many operations the call had.
    std::vector<Call_Record> calls(Call call) const;

  private:
    std::vector<Call_Record> records_;
    friend void log_call(const Call_Record &record);
};

} // namespace hb_test
