// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/stop_signal.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include "tools/hbctl/library_call.h"

namespace hbctl {
namespace {

volatile std::sig_atomic_t signal_pipe = -1;

extern "C" void write_to_pipe(int number) {
    const int saved = errno;
    const char byte = static_cast<char>(number);
    [[maybe_unused]] const auto written = write(signal_pipe, &byte, 1);
    Library_Call::end_process();
    errno = saved;
}

void set_disposition(void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    struct sigaction before {};
    sigaction(SIGHUP, nullptr, &before);
    // nohup ignores it.
    if (before.sa_handler != SIG_IGN) {
        // The terminal and the shell each send one when a session ends. The second one must not end the tidying up.
        action.sa_flags = 0;
        sigaction(SIGHUP, &action, nullptr);
    }
}

} // namespace

Stop_Signal::Stop_Signal() {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot create a pipe for signals");
    }
    read_end_ = ends[0];
    write_end_ = ends[1];
    signal_pipe = write_end_;
    set_disposition(write_to_pipe, static_cast<int>(SA_RESETHAND));
}

int Stop_Signal::signal() const {
    char number = 0;
    return read(read_end_, &number, 1) == 1 ? number : SIGTERM;
}

Stop_Signal::~Stop_Signal() {
    set_disposition(SIG_DFL, 0);
    signal_pipe = -1;
    Library_Call::stay_alive();
    close(read_end_);
    close(write_end_);
}

} // namespace hbctl
