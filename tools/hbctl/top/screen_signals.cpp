// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/screen_signals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

namespace hbctl {
namespace {

constexpr std::array END_SIGNALS{SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr std::array OTHER_SIGNALS{SIGWINCH, SIGTSTP, SIGCONT};
constexpr unsigned SECONDS_TO_END = 2;

volatile std::sig_atomic_t screen_signal_pipe = -1;
volatile std::sig_atomic_t is_asked_to_end = 0;
termios settings_before;
bool has_settings_before = false;

// The program could not end in an orderly way.
extern "C" void end_screen_now(int) {
    if (has_settings_before) {
        tcsetattr(STDIN_FILENO, TCSANOW, &settings_before);
    }
    _exit(0);
}

extern "C" void note_screen_signal(int signal) {
    const int saved = errno;
    if (Screen_Signals::asks_to_end(signal)) {
        if (is_asked_to_end != 0) {
            end_screen_now(signal);
        }
        is_asked_to_end = 1;
        alarm(SECONDS_TO_END);
    }
    const char byte = static_cast<char>(signal);
    [[maybe_unused]] const auto written = write(screen_signal_pipe, &byte, 1);
    errno = saved;
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

template <typename Signals> void handle_all(const Signals &signals, void (*handler)(int)) {
    for (const int signal : signals) {
        handle(signal, handler);
    }
}

} // namespace

Screen_Signals::Screen_Signals() {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot create a pipe for signals");
    }
    read_end_ = ends[0];
    write_end_ = ends[1];
    screen_signal_pipe = write_end_;
    is_asked_to_end = 0;
    has_settings_before = tcgetattr(STDIN_FILENO, &settings_before) == 0;
    handle(SIGALRM, end_screen_now);
    handle_all(END_SIGNALS, note_screen_signal);
    handle_all(OTHER_SIGNALS, note_screen_signal);
}

Screen_Signals::~Screen_Signals() {
    handle_all(END_SIGNALS, SIG_DFL);
    handle_all(OTHER_SIGNALS, SIG_DFL);
    alarm(0);
    handle(SIGALRM, SIG_DFL);
    screen_signal_pipe = -1;
    close(read_end_);
    close(write_end_);
}

std::vector<int> Screen_Signals::arrived() const {
    std::array<char, 64> bytes{};
    const ssize_t count = read(read_end_, bytes.data(), bytes.size());
    return count > 0 ? std::vector<int>(bytes.begin(), bytes.begin() + count) : std::vector<int>();
}

bool Screen_Signals::asks_to_end(int signal) {
    return signal == SIGINT || signal == SIGTERM || signal == SIGHUP || signal == SIGQUIT;
}

void Screen_Signals::stop_process() {
    handle(SIGTSTP, SIG_DFL);
    raise(SIGTSTP);
    handle(SIGTSTP, note_screen_signal);
}

} // namespace hbctl
