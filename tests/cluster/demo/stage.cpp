// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/demo/stage.h"

#include <poll.h>
#include <sstream>

namespace hb_demo {
namespace {

using hb_test::Child_Process;
using hb_test::Deadline;
using std::chrono::milliseconds;

const std::string SOCKET = "/run/wispd.socket"; // each host has its own /run
constexpr std::chrono::seconds LONGEST_ACT{40};
// The longest time that a line may need on its way from a client.
constexpr milliseconds ON_ITS_WAY{150};
// For some seconds after a link comes up, an engine waits several times longer before it reports it down. The
// engine probes each link five times a second.
constexpr unsigned long ANSWERS_ON_AN_OLD_LINK = 45;
// Each check runs a program.
constexpr milliseconds BETWEEN_LOOKS_AT_ENGINES{100};

// Reads what is available on both streams without waiting. Returns the next whole line.
std::optional<std::string> next_line(Child_Process &process) {
    return process.read_line(Deadline(milliseconds(0)));
}

std::string last_lines(const std::string &text, int wanted) {
    std::size_t start = text.size();
    for (int lines = 0; start != std::string::npos && start > 0 && lines <= wanted; ++lines) {
        start = text.rfind('\n', start - 1);
    }
    return text.substr(start == std::string::npos ? 0 : start);
}

void check_program(Child_Process &process, const std::string &what) {
    if (!process.running()) {
        process.wait();
        throw std::runtime_error(what + " has ended by itself:\n" + last_lines(process.error_output(), 20));
    }
}

std::string list(const std::set<int> &numbers) {
    std::string text;
    for (const int number : numbers) {
        text += " " + std::to_string(number);
    }
    return text;
}

} // namespace

Stage::Stage(const Parts &parts, Screen &screen, const volatile std::sig_atomic_t &told_to_end)
    : parts_(parts), screen_(screen), told_to_end_(told_to_end), hosts_(HOSTS, LINKS, settings_) {}

void Stage::start_engines() {
    hosts_.start_all();
    play_until(
        "the engines' quorum", [&] { return hosts_.wait_quorum(Deadline(milliseconds(0))); },
        BETWEEN_LOOKS_AT_ENGINES);
    play_until(
        "repeated answers on every link", [&] { return used_to_links(); }, BETWEEN_LOOKS_AT_ENGINES);
}

bool Stage::used_to_links() {
    for (int host = 1; host <= HOSTS; ++host) {
        for (int peer = 1; peer <= HOSTS; ++peer) {
            for (int link = 0; link < LINKS && peer != host; ++link) {
                const std::string key = "stats.knet.node" + std::to_string(peer) + ".link" +
                                        std::to_string(link) + ".rx_pong_packets";
                const std::optional<std::string> answers = hosts_.value(host, key, hb_test::Engine_Map::stats);
                if (!answers || std::stoul(*answers) < ANSWERS_ON_AN_OLD_LINK) {
                    return false;
                }
            }
        }
    }
    return true;
}

void Stage::start_daemons() {
    for (int host = 1; host <= HOSTS; ++host) {
        daemons_.push_back(hosts_.places().run(host, {parts_.programs + "/wispd", "--foreground", "--config",
                                                      parts_.configuration, "--socket", SOCKET}));
    }
    play_until("the start of every wispd", [&] {
        for (const auto &daemon : daemons_) {
            next_line(*daemon);
            if (daemon->error_output().find("listening on") == std::string::npos) {
                return false;
            }
        }
        return true;
    });
}

void Stage::start_clients() {
    for (int host = 1; host <= HOSTS; ++host) {
        clients_.push_back(hosts_.places().run(
            host, {parts_.programs + "/hbctl", "--socket", SOCKET, "--json", "watch", "--no-reconnect"}));
    }
}

void Stage::check_programs() {
    for (int host = 1; host <= HOSTS; ++host) {
        if (at(host) < clients_.size()) {
            check_program(*clients_[at(host)], "the client of host" + std::to_string(host));
        }
        if (at(host) < daemons_.size()) {
            check_program(*daemons_[at(host)], "wispd of host" + std::to_string(host));
        }
    }
}

void Stage::take_events() {
    for (int host = 1; host <= static_cast<int>(clients_.size()); ++host) {
        while (const std::optional<std::string> line = next_line(*clients_[at(host)])) {
            const Client_Event event = read_event(*line);
            views_[at(host)].take(event);
            screen_.show(host, event);
        }
    }
    for (const auto &daemon : daemons_) {
        next_line(*daemon); // an unread log would block the daemon
    }
}

void Stage::play_until(const std::string &what, const std::function<bool()> &condition,
                       milliseconds between_looks) {
    const Deadline deadline(LONGEST_ACT);
    for (;;) {
        if (told_to_end_ != 0) {
            throw Interrupted();
        }
        take_events();
        screen_.flush(now() - ON_ITS_WAY);
        if (condition()) {
            screen_.flush();
            return;
        }
        check_programs();
        if (deadline.over()) {
            screen_.flush();
            throw std::runtime_error(what + " did not happen within " + std::to_string(LONGEST_ACT.count()) +
                                     " s\n" + account());
        }
        poll(nullptr, 0, static_cast<int>(between_looks.count()));
    }
}

std::string Stage::account() {
    std::ostringstream text;
    text << "The engines:\n" << hosts_.account();
    for (int host = 1; host <= HOSTS; ++host) {
        text << "The client of host" << host << " considers these up: nodes" << list(view(host).up().nodes)
             << "; adapters" << list(view(host).up().adapters) << '\n';
        if (at(host) < daemons_.size()) {
            text << "wispd of host" << host << ":" << last_lines(daemons_[at(host)]->error_output(), 20)
                 << '\n';
        }
    }
    return text.str();
}

} // namespace hb_demo
