// SPDX-License-Identifier: Apache-2.0
#include "output.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <string>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "line.h"

namespace qz_tr {

namespace {

constexpr mode_t FILE_MODE = 0640;

// Keeps the signals of a failed write from the process, because the program owns its signal dispositions.
// SIGPIPE reports a closed pipe, SIGXFSZ a file at its size limit.
class Without_Write_Signals {
  public:
    Without_Write_Signals() {
        sigset_t write_signals;
        sigemptyset(&write_signals);
        sigaddset(&write_signals, SIGPIPE);
        sigaddset(&write_signals, SIGXFSZ);
        sigemptyset(&pending_before_);
        sigpending(&pending_before_);
        pthread_sigmask(SIG_BLOCK, &write_signals, &mask_before_);
    }
    ~Without_Write_Signals() { pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr); }
    Without_Write_Signals(const Without_Write_Signals &) = delete;
    Without_Write_Signals &operator=(const Without_Write_Signals &) = delete;

    // Removes the signal that a failed write raised. A signal that was pending before the write stays pending.
    void take_back_after(int error) const {
        const int raised = error == EPIPE ? SIGPIPE : error == EFBIG ? SIGXFSZ : 0;
        if (raised == 0 || sigismember(&pending_before_, raised) == 1) {
            return;
        }
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, raised);
        const timespec at_once{};
        while (sigtimedwait(&set, nullptr, &at_once) < 0 && errno == EINTR) {
        }
    }

  private:
    sigset_t mask_before_;
    sigset_t pending_before_;
};

} // namespace

int write_piece(int fd, std::string_view bytes, std::size_t *taken) {
    const Without_Write_Signals without_signals;
    *taken = 0;
    while (*taken < bytes.size()) {
        const ssize_t written = write(fd, bytes.data() + *taken, bytes.size() - *taken);
        if (written > 0) {
            *taken += static_cast<std::size_t>(written);
        } else if (written == 0) {
            return ENOSPC;
        } else if (errno != EINTR) {
            const int error = errno;
            without_signals.take_back_after(error);
            return error;
        }
    }
    return 0;
}

void report(std::string_view what) {
    const std::string line = "qz_tr: " + std::string(what) + "\n";
    std::size_t taken = 0;
    write_piece(STDERR_FILENO, line, &taken);
}

Output *Output::open(const char *where) {
    int fd = STDERR_FILENO;
    const bool owned = std::strcmp(where, "stderr") != 0;
    if (owned) {
        // O_NONBLOCK: a named pipe without a reader must delay neither the opening nor a record.
        fd = ::open(where, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, FILE_MODE);
        if (fd < 0) {
            return nullptr;
        }
    }
    auto *output = new (std::nothrow) Output(fd, owned);
    if (output == nullptr) {
        if (owned) {
            close(fd);
        }
        errno = ENOMEM;
    }
    return output;
}

Output::~Output() {
    if (owned_) {
        close(fd_);
    }
}

void Output::write_line(std::string_view line) {
    if (lost_.load(std::memory_order_relaxed) != 0) {
        const uint32_t count = lost_.exchange(0, std::memory_order_relaxed);
        if (count != 0 && !write_loss_notice(count)) {
            lose(count + 1, last_error_.load(std::memory_order_relaxed));
            return;
        }
    }
    std::size_t taken = 0;
    if (const int error = write_piece(fd_, line, &taken)) {
        torn_.store(torn_.load(std::memory_order_relaxed) || taken != 0, std::memory_order_relaxed);
        lose(1, error);
    }
}

bool Output::write_loss_notice(uint32_t count) {
    Line notice;
    if (torn_.load(std::memory_order_relaxed)) {
        notice.put('\n');
    }
    const int error = last_error_.load(std::memory_order_relaxed);
    const char *meaning = strerrordesc_np(error);
    notice.put_now();
    notice.put(' ');
    notice.put_decimal(static_cast<uint64_t>(getpid()));
    notice.put(' ');
    notice.put_decimal(static_cast<uint64_t>(gettid()));
    notice.put(" qz_tr - 0 lost ");
    notice.put_decimal(count);
    notice.put(count == 1 ? " record: " : " records: ");
    notice.put(meaning != nullptr ? meaning : "write failed");
    std::size_t taken = 0;
    if (const int failure = write_piece(fd_, notice.finish(), &taken)) {
        last_error_.store(failure, std::memory_order_relaxed);
        return false;
    }
    torn_.store(false, std::memory_order_relaxed);
    return true;
}

void Output::lose(uint32_t count, int error) {
    last_error_.store(error, std::memory_order_relaxed);
    lost_.fetch_add(count, std::memory_order_relaxed);
}

} // namespace qz_tr
