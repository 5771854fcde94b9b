// SPDX-License-Identifier: Apache-2.0
// A program that reads the daemon's shared segments again and again, while its standard input is open, and
// checks every reading. Its last line reports the result.
//
//   segment_reader routes [signals]   the routes of two_chains_file()
//   segment_reader keys [signals]     the security keys
//   segment_reader stay               reads one route, and stays inside the route segment until a line arrives
//
// It prints "ready" after the first whole reading, and "changed" for every reading that differs from the
// previous one. It prints "interrupted" when a signal first ended the wait at the route segment. With "signals"
// a timer interrupts it all the time.
#include <csignal>
#include <cstdio>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/time.h>
#include <unistd.h>

#include "hb_client.h"
#include "tests/system/reading.h"
#include "tests/system/section_watch.h"

namespace hb_test {
namespace {

// Without SA_RESTART, so that system calls end early.
void interrupt_all_the_time() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval interval{{0, 200}, {0, 200}};
    setitimer(ITIMER_REAL, &interval, nullptr);
}

bool told_to_end() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
}

void write_line(int to, const std::string &line) {
    const std::string whole = line + "\n";
    std::size_t written = 0;
    while (written < whole.size()) {
        const ssize_t count = write(to, whole.data() + written, whole.size() - written);
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

void say(const std::string &line) {
    write_line(STDOUT_FILENO, line);
}

struct Tally {
    long torn = 0;
    long failed = 0;
};

void count(const Reading &reading, Tally &tally) {
    long &which = reading.kind == Reading::Kind::torn ? tally.torn : tally.failed;
    if (++which == 1) {
        write_line(STDERR_FILENO, "segment_reader: " + reading.why);
    }
}

void read_on(const Look &look) {
    Tally tally;
    std::optional<long> before;
    while (!told_to_end()) {
        const Reading reading = look();
        if (reading.kind == Reading::Kind::unsettled) {
            continue;
        }
        if (reading.kind != Reading::Kind::whole) {
            count(reading, tally);
            continue;
        }
        if (!before) {
            say("ready");
        } else if (*before != reading.state) {
            say("changed");
        }
        before = reading.state;
    }
    say("torn " + std::to_string(tally.torn) + " failed " + std::to_string(tally.failed));
}

void wait_for_a_line() {
    char byte = 0;
    do {
        // A signal may end the call early, or another process that stops and continues this program.
    } while (read(STDIN_FILENO, &byte, 1) < 0);
}

void stay_inside() {
    on_entering([] {
        say("inside");
        wait_for_a_line();
    });
    Hb_Route route{};
    uint16_t length = 0;
    const Hb_Rc result = hb_read_route(8, &route, &length);
    say(result == Hb_Success ? "left with " + std::to_string(length) + " hops"
                             : "left with error " + std::to_string(hb_get_errno()));
}

} // namespace

int run_segment_reader(int argc, char **argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (hb_init() != Hb_Success) {
        std::fprintf(stderr, "segment_reader: cannot open the library, error %d\n", hb_get_errno());
        return 1;
    }
    if (mode == "stay") {
        stay_inside();
        return 0;
    }
    if (argc > 2) {
        on_interruption([] { say("interrupted"); });
        interrupt_all_the_time();
    }
    read_on(mode == "keys" ? keys_look() : routes_look());
    return 0;
}

} // namespace hb_test

int main(int argc, char **argv) {
    return hb_test::run_segment_reader(argc, argv);
}
