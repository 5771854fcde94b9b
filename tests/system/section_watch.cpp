#include "tests/system/section_watch.h"

#include <dlfcn.h>
#include <sys/sem.h>

#include <cerrno>
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

// The program's own goes before the C library's, also for the client library.
extern "C" __attribute__((visibility("default"))) int semop(int id, sembuf *operations,
                                                            std::size_t count) noexcept {
    using Semop = int (*)(int, sembuf *, std::size_t);
    static const auto real = reinterpret_cast<Semop>(dlsym(RTLD_NEXT, "semop"));
    const int result = real(id, operations, count);
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
