// SPDX-License-Identifier: Apache-2.0
#include "host/detach.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "host/start_failure.h"
#include "host/text.h"

namespace wispd {

namespace {

pid_t fork_or_throw() {
    const pid_t child = fork();
    if (child < 0) {
        throw Start_Failure(text("cannot go into the background: ", std::strerror(errno)));
    }
    return child;
}

[[noreturn]] void wait_for_outcome(int outcome) {
    unsigned char code = 1;
    ssize_t count;
    do {
        count = read(outcome, &code, 1);
    } while (count < 0 && errno == EINTR);
    _exit(count == 1 ? code : 1);
}

} // namespace

Detachment Detachment::begin() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw Start_Failure(text("cannot go into the background: ", std::strerror(errno)));
    }
    const pid_t child = fork_or_throw();
    if (child > 0) {
        close(ends[1]);
        waitpid(child, nullptr, 0);
        wait_for_outcome(ends[0]);
    }
    close(ends[0]);
    setsid();
    // A session leader can acquire a terminal again; its child cannot.
    if (fork_or_throw() > 0) {
        _exit(0);
    }
    if (chdir("/") != 0) {
        throw Start_Failure(text("cannot change to /: ", std::strerror(errno)));
    }
    return Detachment(ends[1]);
}

void Detachment::ready() {
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (null >= 0) {
        for (int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            dup2(null, standard);
        }
        if (null > STDERR_FILENO) {
            close(null);
        }
    }
    failed(0);
}

void Detachment::failed(int exit_code) {
    const auto code = static_cast<unsigned char>(exit_code);
    // A failed write is harmless: the process that waits for the outcome has ended.
    [[maybe_unused]] const ssize_t written = write(outcome_, &code, 1);
    close(outcome_);
    outcome_ = -1;
}

} // namespace wispd
