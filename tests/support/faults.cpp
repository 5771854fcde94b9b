// SPDX-License-Identifier: Apache-2.0
#include "tests/support/faults.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <poll.h>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace hb_test {
namespace {

struct Slot {
    bool used = false;
    Fault fault;
    int seen = 0;
    int hit = 0;
};

// Plain storage: access to it must not allocate, since allocations are among the wrapped calls.
thread_local std::array<Slot, 8> slots;
thread_local Call_Log *current_log = nullptr;
thread_local bool logging = false;

// Returns the fault for this call, or null.
const Fault *fault_for(Call call, std::size_t bytes = 0) {
    for (Slot &slot : slots) {
        if (!slot.used || slot.fault.call != call || bytes < slot.fault.bytes_from) {
            continue;
        }
        const int number = slot.seen++;
        if (number >= slot.fault.skip && (slot.fault.times < 0 || slot.hit < slot.fault.times)) {
            ++slot.hit;
            return &slot.fault;
        }
    }
    return nullptr;
}

bool fails(const Fault *fault) {
    return fault != nullptr && fault->error != 0;
}

template <typename Result> Result with_error(const Fault &fault, Result result) {
    errno = fault.error;
    return result;
}

bool allocation_fails(std::size_t bytes) {
    return fault_for(Call::allocation, bytes) != nullptr;
}

} // namespace

void log_call(const Call_Record &record) {
    if (current_log != nullptr && !logging) {
        logging = true; // the log's own allocations are not calls of the library
        current_log->records_.push_back(record);
        logging = false;
    }
}

Fault_Guard::Fault_Guard(const Fault &fault) : slot_(0) {
    while (slot_ < slots.size() && slots[slot_].used) {
        ++slot_;
    }
    if (slot_ == slots.size()) {
        throw std::length_error("too many faults at once");
    }
    slots[slot_] = Slot{true, fault, 0, 0};
}

Fault_Guard::~Fault_Guard() {
    slots[slot_].used = false;
}

int Fault_Guard::hits() const {
    return slots[slot_].hit;
}

Fault_Guard failing(Call call, int error, int skip, int times) {
    Fault fault;
    fault.call = call;
    fault.error = error;
    fault.skip = skip;
    fault.times = times;
    return Fault_Guard(fault);
}

Fault_Guard failing_large_allocations(std::size_t bytes, int skip, int times) {
    Fault fault;
    fault.call = Call::allocation;
    fault.skip = skip;
    fault.times = times;
    fault.bytes_from = bytes;
    return Fault_Guard(fault);
}

Call_Log::Call_Log() {
    records_.reserve(1024);
    current_log = this;
}

Call_Log::~Call_Log() {
    current_log = nullptr;
}

std::vector<Call_Record> Call_Log::calls(Call call) const {
    std::vector<Call_Record> wanted;
    std::copy_if(records_.begin(), records_.end(), std::back_inserter(wanted),
                 [call](const Call_Record &record) { return record.call == call; });
    return wanted;
}

} // namespace hb_test

using hb_test::Call;
using hb_test::Fault;
using hb_test::log_call;

#define HB_WRAPPED(result, name, ...)                                                                          \
    extern "C" result __real_##name(__VA_ARGS__);                                                              \
    extern "C" result __wrap_##name(__VA_ARGS__);                                                              \
    extern "C" result __wrap_##name(__VA_ARGS__)

HB_WRAPPED(int, socket, int domain, int type, int protocol) {
    log_call({Call::socket_, {domain, type, protocol, 0}});
    const Fault *fault = hb_test::fault_for(Call::socket_);
    return hb_test::fails(fault) ? hb_test::with_error(*fault, -1) : __real_socket(domain, type, protocol);
}

HB_WRAPPED(int, setsockopt, int fd, int level, int option, const void *value, socklen_t length) {
    const long number = length == sizeof(int) ? *static_cast<const int *>(value) : -1;
    log_call({Call::setsockopt_, {level, option, number, static_cast<long>(length)}});
    const Fault *fault = hb_test::fault_for(Call::setsockopt_);
    return hb_test::fails(fault) ? hb_test::with_error(*fault, -1)
                                 : __real_setsockopt(fd, level, option, value, length);
}

HB_WRAPPED(int, connect, int fd, const sockaddr *address, socklen_t length) {
    log_call({Call::connect_, {static_cast<long>(length), 0, 0, 0}});
    const Fault *fault = hb_test::fault_for(Call::connect_);
    return hb_test::fails(fault) ? hb_test::with_error(*fault, -1) : __real_connect(fd, address, length);
}

HB_WRAPPED(ssize_t, read, int fd, void *buffer, size_t count) {
    log_call({Call::read_, {static_cast<long>(count), 0, 0, 0}});
    const Fault *fault = hb_test::fault_for(Call::read_);
    if (fault == nullptr) {
        return __real_read(fd, buffer, count);
    }
    if (fault->error != 0) {
        return hb_test::with_error(*fault, -1);
    }
    if (fault->at_most >= 0) {
        return __real_read(fd, buffer, std::min(count, static_cast<size_t>(fault->at_most)));
    }
    return fault->result;
}

HB_WRAPPED(ssize_t, write, int fd, const void *buffer, size_t count) {
    log_call({Call::write_, {static_cast<long>(count), 0, 0, 0}});
    const Fault *fault = hb_test::fault_for(Call::write_);
    if (fault == nullptr) {
        return __real_write(fd, buffer, count);
    }
    return fault->error != 0 ? hb_test::with_error(*fault, -1) : fault->result;
}

extern "C" ssize_t __real_writev(int fd, const iovec *vectors, int count);

namespace {

// Writes the first bytes of the vectors only.
ssize_t write_part(int fd, const iovec *vectors, int count, size_t bytes) {
    std::array<iovec, 8> part{};
    int used = 0;
    for (; used < count && used < static_cast<int>(part.size()) && bytes > 0; ++used) {
        const auto at = static_cast<size_t>(used);
        part.at(at) = vectors[used];
        part.at(at).iov_len = std::min(vectors[used].iov_len, bytes);
        bytes -= part.at(at).iov_len;
    }
    return __real_writev(fd, part.data(), used);
}

} // namespace

extern "C" ssize_t __wrap_writev(int fd, const iovec *vectors, int count);
extern "C" ssize_t __wrap_writev(int fd, const iovec *vectors, int count) {
    log_call({Call::writev_, {count, 0, 0, 0}});
    const Fault *fault = hb_test::fault_for(Call::writev_);
    if (fault == nullptr) {
        return __real_writev(fd, vectors, count);
    }
    if (fault->error != 0) {
        return hb_test::with_error(*fault, -1);
    }
    if (fault->at_most >= 0) {
        return write_part(fd, vectors, count, static_cast<size_t>(fault->at_most));
    }
    return fault->result;
}

HB_WRAPPED(int, poll, pollfd *descriptors, nfds_t count, int timeout) {
    log_call({Call::poll_, {count > 0 ? descriptors[0].events : 0, timeout, 0, 0}});
    const Fault *fault = hb_test::fault_for(Call::poll_);
    if (fault == nullptr) {
        return __real_poll(descriptors, count, timeout);
    }
    return fault->error != 0 ? hb_test::with_error(*fault, -1) : static_cast<int>(fault->result);
}

HB_WRAPPED(int, select, int count, fd_set *reading, fd_set *writing, fd_set *exceptions, timeval *timeout) {
    log_call({Call::select_,
              {count, timeout != nullptr ? static_cast<long>(timeout->tv_sec) : -1,
               timeout != nullptr ? static_cast<long>(timeout->tv_usec) : -1, 0}});
    const Fault *fault = hb_test::fault_for(Call::select_);
    if (fault == nullptr) {
        return __real_select(count, reading, writing, exceptions, timeout);
    }
    if (fault->error != 0) {
        return hb_test::with_error(*fault, -1);
    }
    for (fd_set *set : {reading, writing, exceptions}) {
        if (set != nullptr) {
            FD_ZERO(set); // a time-out
        }
    }
    return static_cast<int>(fault->result);
}

HB_WRAPPED(key_t, ftok, const char *path, int project) {
    log_call({Call::ftok_, {project, 0, 0, 0}});
    const Fault *fault = hb_test::fault_for(Call::ftok_);
    return hb_test::fails(fault) ? hb_test::with_error(*fault, key_t{-1}) : __real_ftok(path, project);
}

HB_WRAPPED(int, shmget, key_t key, size_t size, int flags) {
    log_call({Call::shmget_, {static_cast<long>(size), flags, 0, 0}});
    const Fault *fault = hb_test::fault_for(Call::shmget_);
    return hb_test::fails(fault) ? hb_test::with_error(*fault, -1) : __real_shmget(key, size, flags);
}

HB_WRAPPED(void *, shmat, int id, const void *address, int flags) {
    log_call({Call::shmat_, {flags, 0, 0, 0}});
    const Fault *fault = hb_test::fault_for(Call::shmat_);
    return hb_test::fails(fault) ? hb_test::with_error(*fault, reinterpret_cast<void *>(intptr_t{-1}))
                                 : __real_shmat(id, address, flags);
}

HB_WRAPPED(int, shmdt, const void *address) {
    log_call({Call::shmdt_, {0, 0, 0, 0}});
    const Fault *fault = hb_test::fault_for(Call::shmdt_);
    return hb_test::fails(fault) ? hb_test::with_error(*fault, -1) : __real_shmdt(address);
}

HB_WRAPPED(int, semget, key_t key, int count, int flags) {
    log_call({Call::semget_, {count, flags, 0, 0}});
    const Fault *fault = hb_test::fault_for(Call::semget_);
    return hb_test::fails(fault) ? hb_test::with_error(*fault, -1) : __real_semget(key, count, flags);
}

HB_WRAPPED(int, semtimedop, int id, sembuf *operations, size_t count, const timespec *longest) {
    for (size_t i = 0; i < count; ++i) {
        log_call(
            {Call::semop_,
             {operations[i].sem_num, operations[i].sem_op, operations[i].sem_flg, static_cast<long>(count)}});
    }
    const Fault *fault = hb_test::fault_for(Call::semop_);
    return hb_test::fails(fault) ? hb_test::with_error(*fault, -1)
                                 : __real_semtimedop(id, operations, count, longest);
}

HB_WRAPPED(void *, malloc, size_t size) {
    log_call({Call::allocation, {static_cast<long>(size), 0, 0, 0}});
    return hb_test::allocation_fails(size) ? nullptr : __real_malloc(size);
}

HB_WRAPPED(void *, calloc, size_t count, size_t size) {
    log_call({Call::allocation, {static_cast<long>(count * size), 0, 0, 0}});
    return hb_test::allocation_fails(count * size) ? nullptr : __real_calloc(count, size);
}

// The mangled name of operator new depends on the type of size_t.
#if defined(__LP64__)
#define HB_NEW _Znwm
#define HB_NEW_ARRAY _Znam
#define HB_NEW_NOTHROW _ZnwmRKSt9nothrow_t
#define HB_NEW_ARRAY_NOTHROW _ZnamRKSt9nothrow_t
#else
#define HB_NEW _Znwj
#define HB_NEW_ARRAY _Znaj
#define HB_NEW_NOTHROW _ZnwjRKSt9nothrow_t
#define HB_NEW_ARRAY_NOTHROW _ZnajRKSt9nothrow_t
#endif
#define HB_JOINED(a, b) a##b
#define HB_JOIN(a, b) HB_JOINED(a, b)

#define HB_WRAPPED_NEW(name)                                                                                   \
    extern "C" void *HB_JOIN(__real_, name)(size_t size);                                                      \
    extern "C" void *HB_JOIN(__wrap_, name)(size_t size);                                                      \
    extern "C" void *HB_JOIN(__wrap_, name)(size_t size) {                                                     \
        log_call({Call::allocation, {static_cast<long>(size), 0, 0, 0}});                                      \
        if (hb_test::allocation_fails(size)) {                                                                 \
            throw std::bad_alloc();                                                                            \
        }                                                                                                      \
        return HB_JOIN(__real_, name)(size);                                                                   \
    }

#define HB_WRAPPED_NOTHROW_NEW(name)                                                                           \
    extern "C" void *HB_JOIN(__real_, name)(size_t size, const std::nothrow_t &tag);                           \
    extern "C" void *HB_JOIN(__wrap_, name)(size_t size, const std::nothrow_t &tag);                           \
    extern "C" void *HB_JOIN(__wrap_, name)(size_t size, const std::nothrow_t &tag) {                          \
        log_call({Call::allocation, {static_cast<long>(size), 0, 0, 0}});                                      \
        return hb_test::allocation_fails(size) ? nullptr : HB_JOIN(__real_, name)(size, tag);                  \
    }

HB_WRAPPED_NEW(HB_NEW)
HB_WRAPPED_NEW(HB_NEW_ARRAY)
HB_WRAPPED_NOTHROW_NEW(HB_NEW_NOTHROW)
HB_WRAPPED_NOTHROW_NEW(HB_NEW_ARRAY_NOTHROW)
