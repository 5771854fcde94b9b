// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/waiting.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace hbctl {
namespace {

using Clock = std::chrono::steady_clock;

int milliseconds_left(const Deadline &deadline) {
    if (!deadline) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

} // namespace

bool is_over(const Deadline &deadline) {
    return deadline && Clock::now() >= *deadline;
}

Deadline deadline_after(std::chrono::milliseconds limit) {
    const auto now = Clock::now();
    if (limit > std::chrono::duration_cast<std::chrono::milliseconds>(Clock::time_point::max() - now)) {
        return std::nullopt;
    }
    return now + limit;
}

Wake wait_for(const std::vector<int> &descriptors, int stop_descriptor, const Deadline &deadline,
              std::vector<int> &ready) {
    // poll ignores a negative descriptor. Standard output is polled for errors only.
    std::vector<pollfd> wanted{{stop_descriptor, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    for (const int descriptor : descriptors) {
        wanted.push_back({descriptor, POLLIN, 0});
    }
    for (;;) {
        const int count = poll(wanted.data(), wanted.size(), milliseconds_left(deadline));
        if (count < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot wait for events");
        }
        if (count > 0) {
            break;
        }
        if (is_over(deadline)) {
            return Wake::time_over;
        }
    }
    if (wanted[0].revents != 0) {
        return Wake::stopped;
    }
    if ((wanted[1].revents & (POLLERR | POLLHUP)) != 0) {
        return Wake::output_closed;
    }
    ready.clear();
    std::for_each(wanted.begin() + 2, wanted.end(), [&](const pollfd &one) {
        if (one.revents != 0) {
            ready.push_back(one.fd);
        }
    });
    ready.push_back(-1);
    return Wake::ready;
}

} // namespace hbctl
