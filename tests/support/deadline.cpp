// SPDX-License-Identifier: Apache-2.0
#include "tests/support/deadline.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

namespace hb_test {

Deadline::Deadline(std::chrono::milliseconds length) : end_(std::chrono::steady_clock::now() + length) {}

bool Deadline::over() const {
    return std::chrono::steady_clock::now() >= end_;
}

int Deadline::milliseconds_left() const {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end_ - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, 1000000));
}

bool wait_until(const std::function<bool()> &condition, const Deadline &deadline) {
    while (!condition()) {
        if (deadline.over()) {
            return false;
        }
        poll(nullptr, 0, 1);
    }
    return true;
}

bool wait_readable(int fd, const Deadline &deadline) {
    for (;;) {
        pollfd wanted{fd, POLLIN, 0};
        const int ready = poll(&wanted, 1, deadline.milliseconds_left());
        if (ready > 0) {
            return true;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

} // namespace hb_test
