// SPDX-License-Identifier: Apache-2.0
#include "tests/support/signal_pelter.h"

#include <atomic>
#include <cerrno>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace hb_test {
namespace {

std::atomic<int> hit_count{0};

void count_hit(int) {
    hit_count.fetch_add(1);
}

} // namespace

Signal_Pelter::Signal_Pelter() {
    hit_count = 0;
    struct sigaction action {};
    action.sa_handler = count_hit; // without SA_RESTART: a blocking call returns with EINTR
    sigaction(SIGUSR2, &action, &before_);

    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = SIGUSR2;
    event._sigev_un._tid = static_cast<pid_t>(syscall(SYS_gettid));
    if (timer_create(CLOCK_MONOTONIC, &event, &timer_) != 0) {
        throw std::system_error(errno, std::generic_category(), "timer_create");
    }
    const timespec two_milliseconds{0, 2000000};
    const itimerspec pace{two_milliseconds, two_milliseconds};
    timer_settime(timer_, 0, &pace, nullptr);
}

Signal_Pelter::~Signal_Pelter() {
    timer_delete(timer_);
    sigaction(SIGUSR2, &before_, nullptr);
}

int Signal_Pelter::hits() {
    return hit_count.load();
}

} // namespace hb_test
