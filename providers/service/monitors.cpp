// SPDX-License-Identifier: Apache-2.0
#include "providers/service/monitors.h"

#include <algorithm>
#include <cerrno>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace mox_service {
namespace {

bool gather(int epoll, int source) {
    epoll_event event{};
    event.events = EPOLLIN;
    return epoll_ctl(epoll, EPOLL_CTL_ADD, source, &event) == 0;
}

// Returns true if `epoll` is an epoll descriptor that gathers the source. The descriptor was then neither
// closed nor reused.
bool gathers(int epoll, int source) {
    epoll_event event{};
    event.events = EPOLLIN;
    return epoll_ctl(epoll, EPOLL_CTL_MOD, source, &event) == 0;
}

void count_up(int counter) {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(counter, &one, sizeof one);
}

void count_down(int counter) {
    uint64_t one = 0;
    [[maybe_unused]] const ssize_t taken = read(counter, &one, sizeof one);
}

} // namespace

Monitors::~Monitors() {
    forget_closed();
    for (const auto &[fd, monitor] : monitors_) {
        end(fd, monitor);
    }
}

// Removes the sources explicitly. A forked child may have them open, so closing them would leave them in the
// opener's descriptor.
void Monitors::end(int fd, const Monitor &monitor) {
    for (const int source : monitor.sources) {
        epoll_ctl(fd, EPOLL_CTL_DEL, source, nullptr);
    }
    epoll_ctl(fd, EPOLL_CTL_DEL, monitor.counter, nullptr);
    close(monitor.counter);
}

void Monitors::forget_closed() {
    const int kept = errno;
    for (auto monitor = monitors_.begin(); monitor != monitors_.end();) {
        if (gathers(monitor->first, monitor->second.counter)) {
            ++monitor;
        } else {
            close(monitor->second.counter);
            monitor = monitors_.erase(monitor);
        }
    }
    errno = kept;
}

int Monitors::open(const std::string &name, const std::vector<int> &sources) {
    forget_closed();
    // Each reading decrements the counter by one, so the descriptor is readable exactly while events are held.
    const int counter = eventfd(0, EFD_SEMAPHORE | EFD_NONBLOCK | EFD_CLOEXEC);
    const int fd = counter < 0 ? -1 : epoll_create1(EPOLL_CLOEXEC);
    bool gathered = fd >= 0 && gather(fd, counter);
    for (const int source : sources) {
        gathered = gathered && gather(fd, source);
    }
    if (!gathered) {
        const int why = errno;
        for (const int made : {fd, counter}) {
            if (made >= 0) {
                close(made);
            }
        }
        errno = why;
        return -1;
    }
    monitors_[fd] = {name, counter, sources, {}};
    return fd;
}

uint64_t Monitors::push(const std::string &name, Reading reading) {
    forget_closed();
    reading.id = ++pushed_;
    if (reading.result == 0 && reading.event.sequence == 0) {
        reading.event.sequence = reading.id;
    }
    for (auto &[fd, monitor] : monitors_) {
        if (monitor.name == name) {
            monitor.held.push_back(reading);
            count_up(monitor.counter);
        }
    }
    return reading.id;
}

std::optional<Reading> Monitors::take(int fd, int category) {
    const auto found = monitors_.find(fd);
    if (found == monitors_.end()) {
        return std::nullopt;
    }
    categories_asked_[found->second.name] = category;
    if (found->second.held.empty()) {
        return std::nullopt;
    }
    count_down(found->second.counter);
    const Reading reading = found->second.held.front();
    found->second.held.pop_front();
    return reading;
}

void Monitors::withdraw(const std::string &name, const std::function<bool(const Reading &)> &which) {
    forget_closed();
    for (auto &[fd, monitor] : monitors_) {
        if (monitor.name == name) {
            const std::size_t taken = std::erase_if(monitor.held, which);
            for (std::size_t i = 0; i < taken; ++i) {
                count_down(monitor.counter);
            }
        }
    }
}

const std::deque<Reading> &Monitors::held(const std::string &name) {
    static const auto &nothing =
        // Never destroyed: another thread may use it while the process ends.
        *new std::deque<Reading>;
    forget_closed();
    const std::deque<Reading> *longest = &nothing;
    for (const auto &[fd, monitor] : monitors_) {
        if (monitor.name == name && monitor.held.size() > longest->size()) {
            longest = &monitor.held;
        }
    }
    return *longest;
}

bool Monitors::holds(uint64_t id) {
    forget_closed();
    return std::any_of(monitors_.begin(), monitors_.end(), [&](const auto &opened) {
        const std::deque<Reading> &held = opened.second.held;
        return std::any_of(held.begin(), held.end(), [&](const Reading &reading) { return reading.id == id; });
    });
}

bool Monitors::any_open() {
    forget_closed();
    return !monitors_.empty();
}

std::optional<int> Monitors::category_asked(const std::string &name) const {
    const auto found = categories_asked_.find(name);
    return found != categories_asked_.end() ? std::optional(found->second) : std::nullopt;
}

} // namespace mox_service
