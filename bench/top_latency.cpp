// SPDX-License-Identifier: Apache-2.0
// How soon an event is on the screen of `hbctl top`: from the command to wispd until the terminal receives the cell.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int ROUNDS = 300;
constexpr int SECONDS_TO_WAIT = 10;
constexpr const char *UP = "●";
constexpr const char *DOWN = "✗";

// A program on a terminal of its own.
class Terminal {
  public:
    explicit Terminal(const std::vector<std::string> &words) {
        winsize size{24, 80, 0, 0};
        child_ = forkpty(&master_, nullptr, nullptr, &size);
        if (child_ < 0) {
            throw std::runtime_error("no terminal");
        }
        if (child_ == 0) {
            setenv("TERM", "screen-256color", 1);
            setenv("LC_ALL", "C.UTF-8", 1);
            std::vector<char *> arguments;
            for (const std::string &word : words) {
                arguments.push_back(const_cast<char *>(word.c_str()));
            }
            arguments.push_back(nullptr);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;
    ~Terminal() {
        kill(child_, SIGTERM);
        for (char bytes[4096]; read(master_, bytes, sizeof bytes) > 0;) { // it may wait for the terminal
        }
        waitpid(child_, nullptr, 0);
        close(master_);
    }

    // Reads until the text arrives.
    void read_until(const std::string &text) {
        std::string all;
        while (all.find(text) == std::string::npos) {
            pollfd wanted{master_, POLLIN, 0};
            char bytes[4096];
            const bool is_ready = poll(&wanted, 1, SECONDS_TO_WAIT * 1000) > 0;
            const ssize_t count = is_ready ? read(master_, bytes, sizeof bytes) : 0;
            if (count <= 0) {
                throw std::runtime_error("the terminal received no " + text + " but: " + all);
            }
            all.append(bytes, static_cast<std::size_t>(count));
        }
    }

  private:
    int master_ = -1;
    pid_t child_ = -1;
};

} // namespace

int main() {
    using namespace hb_test;
    Daemon daemon(programs_of_this_build(), small_cluster_file());
    if (!daemon.start()) {
        std::fputs("wispd does not start\n", stderr);
        return 1;
    }
    std::vector<double> times;
    {
        Terminal terminal({daemon.programs().path("hbctl"), "--socket", daemon.socket(), "top"});
        terminal.read_until("10.1.0.4");
        for (int round = 0; round < ROUNDS; ++round) {
            const bool down = round % 2 == 0;
            const auto begin = Clock::now();
            daemon.tell(down ? R"({"do":"adapter-down","adapter":6})" : R"({"do":"adapter-up","adapter":6})");
            terminal.read_until(down ? DOWN : UP);
            times.push_back(Milliseconds(Clock::now() - begin).count());
            usleep(static_cast<useconds_t>(1000 * (round % 50))); // at every distance from the frame before
        }
    }
    std::sort(times.begin(), times.end());
    std::printf("screen of hbctl top, %zu events: median %.1f ms, 95 %% within %.1f ms, longest %.1f ms\n",
                times.size(), times[times.size() / 2], times[times.size() * 95 / 100], times.back());
    return daemon.stop() ? 0 : 1;
}
