// SPDX-License-Identifier: Apache-2.0
#include "tests/system/section_watch.h"

#include <cerrno>
#include <dlfcn.h>
#include <sys/sem.h>
#include <utility>

namespace {

std::function<void()> entering;
std::function<void()> interruption;

void call_once(std::function<void()> &action) {
    if (const std::function<void()> once = std::exchange(action, nullptr)) {
        const int saved = errno;
        once();
        errno = saved;
    }
}

} // namespace

// The program's own definition precedes the C library's, also for the client library.
extern "C" __attribute__((visibility("default"))) int semtimedop(int id, sembuf *operations, std::size_t count,
                                                                 const timespec *longest) noexcept {
    using Semtimedop = int (*)(int, sembuf *, std::size_t, const timespec *);
    static const auto real = reinterpret_cast<Semtimedop>(dlsym(RTLD_NEXT, "semtimedop"));
    const int result = real(id, operations, count, longest);
    if (result == -1 && errno == EINTR) {
        call_once(interruption);
    }
    if (result == 0 && operations[0].sem_op > 0) {
        call_once(entering);
    }
    return result;
}

namespace hb_test {

void on_entering(std::function<void()> action) {
    entering = std::move(action);
}

void on_interruption(std::function<void()> action) {
    interruption = std::move(action);
}

} // namespace hb_test
