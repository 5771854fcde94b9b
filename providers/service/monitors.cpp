#include "providers/service/monitors.h"

#include <cstdint>

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace mox_service {

Monitors::~Monitors() {
    for (const auto &[fd, monitor] : monitors_) {
        close(monitor.counter);
    }
}

int Monitors::open(const std::string &name) {
    // One is taken from the counter with each reading, so it is readable exactly while something is held.
    const int fd = eventfd(0, EFD_SEMAPHORE | EFD_NONBLOCK | EFD_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    const int counter = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (counter < 0) {
        close(fd);
        return -1;
    }
    // An earlier opener of this number has closed it.
    const auto earlier = monitors_.find(fd);
    if (earlier != monitors_.end()) {
        close(earlier->second.counter);
        monitors_.erase(earlier);
    }
    monitors_[fd] = {name, counter, {}};
    return fd;
}

void Monitors::push(const std::string &name, const Reading &reading) {
    for (auto &[fd, monitor] : monitors_) {
        if (monitor.name == name) {
            monitor.held.push_back(reading);
            const uint64_t one = 1;
            [[maybe_unused]] const ssize_t written = write(monitor.counter, &one, sizeof one);
        }
    }
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
    uint64_t one = 0;
    [[maybe_unused]] const ssize_t taken = read(found->second.counter, &one, sizeof one);
    const Reading reading = found->second.held.front();
    found->second.held.pop_front();
    return reading;
}

std::optional<int> Monitors::category_asked(const std::string &name) const {
    const auto found = categories_asked_.find(name);
    return found != categories_asked_.end() ? std::optional(found->second) : std::nullopt;
}

} // namespace mox_service
