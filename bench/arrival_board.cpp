// SPDX-License-Identifier: Apache-2.0
#include "bench/arrival_board.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <linux/futex.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

constexpr int PATIENCE_SECONDS = 60;

uint64_t now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(time.tv_nsec);
}

long futex(std::atomic<uint32_t> &word, int operation, uint32_t value, const timespec *patience) {
    return syscall(SYS_futex, &word, operation, value, patience, nullptr, 0);
}

} // namespace

Arrival_Board Arrival_Board::map(const std::string &path, int flags) {
    const int fd = ::open(path.c_str(), flags | O_RDWR | O_CLOEXEC, 0600);
    if (fd < 0 || ftruncate(fd, sizeof(Arrival_Page)) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    void *page = mmap(nullptr, sizeof(Arrival_Page), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (page == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return Arrival_Board(static_cast<Arrival_Page *>(page));
}

Arrival_Board Arrival_Board::create(const std::string &path, unsigned expected) {
    Arrival_Board board = map(path, O_CREAT | O_EXCL);
    board.page_->expected = expected;
    return board;
}

Arrival_Board Arrival_Board::open(const std::string &path) {
    return map(path, 0);
}

Arrival_Board::Arrival_Board(Arrival_Board &&other) noexcept : page_(std::exchange(other.page_, nullptr)) {}

Arrival_Board::~Arrival_Board() {
    if (page_ != nullptr) {
        munmap(page_, sizeof *page_);
    }
}

void Arrival_Board::begin() {
    page_->last_nanoseconds = 0;
    page_->arrived = 0;
}

void Arrival_Board::arrive() {
    const uint64_t time = now();
    uint64_t last = page_->last_nanoseconds;
    while (last < time && !page_->last_nanoseconds.compare_exchange_weak(last, time)) {
    }
    if (page_->arrived.fetch_add(1) + 1 == page_->expected) {
        futex(page_->arrived, FUTEX_WAKE, 1, nullptr);
    }
}

double Arrival_Board::wait_for_all() const {
    const timespec patience{PATIENCE_SECONDS, 0};
    for (uint32_t arrived = page_->arrived; arrived < page_->expected; arrived = page_->arrived) {
        if (futex(page_->arrived, FUTEX_WAIT, arrived, &patience) != 0 && errno == ETIMEDOUT) {
            throw std::runtime_error("only " + std::to_string(page_->arrived) + " of " +
                                     std::to_string(page_->expected) + " clients received something");
        }
    }
    return static_cast<double>(page_->last_nanoseconds) * 1e-9;
}
