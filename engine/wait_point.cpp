// SPDX-License-Identifier: Apache-2.0
#include "engine/wait_point.h"

#include <cerrno>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <system_error>
#include <unistd.h>

namespace wispd {
namespace {

[[noreturn]] void fail(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

Wait_Point::Wait_Point()
    : epoll_(epoll_create1(EPOLL_CLOEXEC)),
      timer_(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {
    try {
        if (epoll_ < 0 || timer_ < 0) {
            fail("cannot create a descriptor to wait on");
        }
        add({timer_});
    } catch (...) {
        close(timer_);
        close(epoll_);
        throw;
    }
}

Wait_Point::~Wait_Point() {
    close(timer_);
    close(epoll_);
}

void Wait_Point::add(const std::vector<int> &descriptors) {
    for (const int descriptor : descriptors) {
        epoll_event readable{};
        readable.events = EPOLLIN;
        if (epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &readable) != 0) {
            fail("cannot wait on a descriptor");
        }
    }
}

void Wait_Point::remove(const std::vector<int> &descriptors) {
    for (const int descriptor : descriptors) {
        epoll_ctl(epoll_, EPOLL_CTL_DEL, descriptor, nullptr);
    }
}

// Setting the timer also clears its last expiry.
void Wait_Point::wake_at(std::chrono::steady_clock::time_point time) {
    using namespace std::chrono;
    const auto since_boot = std::max(time.time_since_epoch(), steady_clock::duration(1)); // 0 would disarm it
    const auto whole = duration_cast<seconds>(since_boot);
    itimerspec when{};
    when.it_value.tv_sec = static_cast<decltype(when.it_value.tv_sec)>(whole.count());
    when.it_value.tv_nsec =
        static_cast<decltype(when.it_value.tv_nsec)>(duration_cast<nanoseconds>(since_boot - whole).count());
    timerfd_settime(timer_, TFD_TIMER_ABSTIME, &when, nullptr);
}

} // namespace wispd
