// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/time_limit.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/time.h>

#include "common/printable.h"
#include "tools/hbctl/library_call.h"

namespace hbctl {
namespace {

using std::chrono::microseconds;

// A signal between two calls ends nothing, so the timer repeats it.
constexpr microseconds REPEAT{20'000};

// Built before the signal, because a handler must not allocate.
Ending ending_now;

extern "C" void end_call(int) {
    const int saved = errno;
    if (Library_Call::is_running()) {
        const std::string &line = ending_now.line;
        [[maybe_unused]] const auto written = write(ending_now.descriptor, line.data(), line.size());
        _exit(ending_now.status);
    }
    errno = saved;
}

timeval timeval_of(microseconds time) {
    timeval value{};
    value.tv_sec = static_cast<decltype(value.tv_sec)>(time.count() / 1'000'000);
    value.tv_usec = static_cast<decltype(value.tv_usec)>(time.count() % 1'000'000);
    return value;
}

void set_timer(microseconds first, microseconds repeat) {
    itimerval timer{};
    timer.it_value = timeval_of(first);
    timer.it_interval = timeval_of(repeat);
    setitimer(ITIMER_REAL, &timer, nullptr);
}

// The parent may have blocked the signal.
void receive_alarms() {
    struct sigaction action {};
    action.sa_handler = end_call;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
}

} // namespace

Time_Limit::Time_Limit(const Deadline &deadline, const Ending &ending) {
    if (!deadline) {
        return;
    }
    ending_now = ending;
    if (!ending_now.line.empty()) {
        ending_now.line = terminal::printable(ending_now.line) + "\n";
    }
    receive_alarms();
    const auto left = std::chrono::ceil<microseconds>(*deadline - std::chrono::steady_clock::now());
    set_timer(std::max(left, microseconds{1}), REPEAT);
}

Time_Limit::~Time_Limit() {
    set_timer(microseconds{0}, microseconds{0});
}

} // namespace hbctl
