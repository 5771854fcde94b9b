// SPDX-License-Identifier: Apache-2.0
// The driver of watch_driver.c over hb::watcher and hb::session: the same options, commands and lines.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <variant>

#include "hb_client.hpp"

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds WAIT{20};

struct Driver {
    hb::watcher watcher;
    bool waits = false;
    bool paused = false;
    bool ended = false;
    std::string line{};
    long long longest_next = 0;
    long long longest_excess = 0;
    unsigned long calls = 0;
};

long long nanoseconds(hb::time_point time) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

// ---- Reports ----

void print_line(const std::string &text, long long time, long long since, int node = -1, int network = -1,
                const char *failure = "") {
    std::printf("report\t%s\ttime=%lld\tsince=%lld\tnode=%d\tnetwork=%d\tfailure=%s\n", text.c_str(), time,
                since, node, network, failure);
}

void print_change(std::string text, const hb::reports::change &change, bool is_initial, bool is_removed,
                  int node, int network = -1) {
    text += is_initial ? " initial" : "";
    text += change.is_caught_up ? " caught-up" : "";
    text += is_removed ? " removed" : "";
    print_line(text, nanoseconds(change.time), nanoseconds(change.since), node, network,
               change.failure.c_str());
}

struct Print_Report {
    void operator()(const hb::reports::current &report) const {
        print_line("current", nanoseconds(report.time), nanoseconds(report.time));
    }
    void operator()(const hb::reports::unreachable &report) const {
        print_line("unreachable " + std::to_string(report.reason.number()), nanoseconds(report.time),
                   report.last_contact ? nanoseconds(*report.last_contact) : 0);
    }
    void operator()(const hb::reports::configuration_changed &report) const {
        print_line("configuration", nanoseconds(report.time), nanoseconds(report.time));
    }
    void operator()(const hb::reports::node_joined &report) const {
        print_change("node " + std::to_string(report.node) + " joined", report, report.is_initial, false,
                     report.node);
    }
    void operator()(const hb::reports::node_died &report) const {
        print_change("node " + std::to_string(report.node) + " died", report, false, report.is_removed,
                     report.node);
    }
    void operator()(const hb::reports::adapter_joined &report) const {
        print_change("adapter " + std::to_string(report.adapter) + " joined", report, report.is_initial, false,
                     report.node, report.network);
    }
    void operator()(const hb::reports::adapter_died &report) const {
        print_change("adapter " + std::to_string(report.adapter) + " died", report, false, report.is_removed,
                     report.node, report.network);
    }
};

// ---- Commands ----

void print_state(const hb::watcher &watcher) {
    const auto local = watcher.local_node();
    std::printf("answer\tstate\tcurrent=%d local=%d nodes=", watcher.is_current() ? 1 : 0, local ? *local : -1);
    for (const hb::node_number node : watcher.nodes()) {
        std::printf("%d:%d,", node, static_cast<int>(watcher.node_state(node)));
    }
    std::printf(" adapters=");
    for (const hb::adapter_number adapter : watcher.adapters()) {
        const auto facts = watcher.adapter(adapter);
        const bool agrees = facts && facts->number == adapter && facts->state == watcher.adapter_state(adapter);
        std::printf("%s%u:%d,", agrees ? "" : "contradiction!", adapter,
                    static_cast<int>(watcher.adapter_state(adapter)));
    }
    std::printf(" networks=");
    for (const hb::network_number network : watcher.networks()) {
        std::printf("%s%d,", watcher.network(network) ? "" : "contradiction!", network);
    }
    std::printf("\n");
}

// The process has one session. It stays open for as long as the program, or until a request fails: its end would end
// cluster-event mode as well.
std::optional<hb::session> &session() {
    static std::optional<hb::session> only;
    return only;
}

hb::result<void> open_session() {
    if (!session()) {
        hb::result<hb::session> opened = hb::session::open();
        if (!opened) {
            return opened.error();
        }
        session().emplace(std::move(*opened));
    }
    return {};
}

hb::result<void> requests_of_a_round() {
    const auto local = session()->local_node();
    if (!local) {
        return local.error();
    }
    for (const hb::adapter_number adapter : session()->adapters_of_node(*local)) {
        const auto state = session()->state_of_adapter(adapter);
        if (!state) {
            return state.error();
        }
    }
    return session()->heartbeat(1);
}

hb::result<void> one_round() {
    const hb::result<void> opened = open_session();
    const hb::result<void> result = opened ? requests_of_a_round() : opened;
    if (!result) {
        session().reset();
    }
    return result;
}

void control(int rounds) {
    int done = 0;
    int failed = 0;
    int error = 0;
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    for (int i = 0; i < rounds; ++i) {
        const hb::result<void> result = one_round();
        done += result ? 1 : 0;
        failed += result ? 0 : 1;
        error = result ? error : result.error().number();
    }
    std::signal(SIGPIPE, before);
    std::printf("answer\tcontrol\tdone=%d failed=%d error=%d\n", done, failed, error);
}

void print_result(const char *command, const hb::result<void> &result) {
    if (result) {
        std::printf("answer\t%s\tok\n", command);
    } else {
        std::printf("answer\t%s\tfailed %d\n", command, result.error().number());
    }
}

hb::result<void> follow(hb::watcher &watcher) {
    const hb::result<void> opened = open_session();
    const hb::result<void> prepared = opened ? session()->prepare_migration() : opened;
    const hb::result<void> committed = prepared ? session()->commit_migration() : prepared;
    return committed ? watcher.follow_service() : committed;
}

void obey(Driver &driver, const std::string &command) {
    if (command == "state") {
        print_state(driver.watcher);
    } else if (command.rfind("control ", 0) == 0) {
        control(std::stoi(command.substr(8)));
    } else if (command == "pause" || command == "resume") {
        driver.paused = command == "pause";
        print_result(command.c_str(), {});
    } else if (command == "migrate") {
        print_result("migrate", driver.watcher.migrate());
    } else if (command == "follow") {
        print_result("follow", follow(driver.watcher));
    } else if (command == "times") {
        std::printf("answer\ttimes\tnext=%lld excess=%lld calls=%lu\n", driver.longest_next,
                    driver.longest_excess, driver.calls);
    } else if (command == "end") {
        driver.ended = true;
    } else {
        std::printf("answer\t%s\tunknown\n", command.c_str());
    }
}

void read_commands(Driver &driver) {
    char bytes[256];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    driver.ended = count <= 0;
    for (ssize_t i = 0; i < count; ++i) {
        if (bytes[i] == '\n') {
            obey(driver, driver.line);
            driver.line.clear();
        } else {
            driver.line += bytes[i];
        }
    }
}

// ---- The loop ----

long long since(steady_clock::time_point began) {
    return std::chrono::duration_cast<microseconds>(steady_clock::now() - began).count();
}

void next_report(Driver &driver) {
    const auto began = steady_clock::now();
    const std::optional<hb::report> report = driver.watcher.next();
    driver.longest_next = std::max(driver.longest_next, since(began));
    ++driver.calls;
    if (report) {
        std::visit(Print_Report(), *report);
    }
}

void wait_report(Driver &driver) {
    const auto began = steady_clock::now();
    const hb::result<std::optional<hb::report>> report = driver.watcher.wait(WAIT);
    driver.longest_excess = std::max(driver.longest_excess, since(began) - microseconds(WAIT).count());
    ++driver.calls;
    if (report && *report) {
        std::visit(Print_Report(), **report);
    }
}

void turn(Driver &driver) {
    const bool reads = !driver.paused;
    pollfd wanted[2] = {{STDIN_FILENO, POLLIN, 0}, {driver.watcher.descriptor(), POLLIN, 0}};
    if (reads && driver.waits) {
        wait_report(driver);
    }
    if (poll(wanted, reads && !driver.waits ? 2 : 1, reads && driver.waits ? 0 : -1) < 0 && errno != EINTR) {
        std::exit(3);
    }
    if (wanted[0].revents != 0) {
        read_commands(driver);
    } else if (wanted[1].revents != 0) {
        next_report(driver);
    }
}

bool read_option(const std::string &argument, std::string &path, hb::watch_options &options, bool &waits) {
    const std::size_t equals = std::min(argument.find('='), argument.size() - 1);
    const std::string name = argument.substr(0, equals);
    const std::string value = argument.substr(equals + 1);
    if (name == "--socket") {
        path = value;
    } else if (name == "--what") {
        options.nodes = value != "adapters";
        options.adapters = value != "nodes";
    } else if (name == "--loop") {
        waits = value == "wait";
    } else if (name == "--check") {
        options.check_interval = milliseconds(std::stoi(value));
    } else if (name == "--answer") {
        options.answer_timeout = milliseconds(std::stoi(value));
    } else if (name == "--min") {
        options.retry_min = milliseconds(std::stoi(value));
    } else if (name == "--max") {
        options.retry_max = milliseconds(std::stoi(value));
    } else {
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char **argv) {
    std::string path;
    hb::watch_options options;
    bool waits = false;
    for (int i = 1; i < argc; ++i) {
        if (!read_option(argv[i], path, options, waits)) {
            std::fprintf(stderr, "watch_driver_cpp: unknown option %s\n", argv[i]);
            return 2;
        }
    }
    options.socket_path = path.empty() ? nullptr : path.c_str();
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    hb::result<hb::watcher> opened = hb::watcher::open(options);
    if (!opened) {
        std::fprintf(stderr, "watch_driver_cpp: %s\n", opened.error().text());
        return 1;
    }
    Driver driver{std::move(*opened), waits};
    std::printf("answer\topen\tok\n");
    while (!driver.ended) {
        turn(driver);
    }
    driver.watcher.close();
    std::printf("answer\tend\tok\n");
    return 0;
}
