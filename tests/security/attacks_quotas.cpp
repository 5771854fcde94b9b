// SPDX-License-Identifier: Apache-2.0
// Attacks that use up shared resources: connections, subscriptions, memory, control connections, the log.
#include <poll.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "tests/security/attack.h"
#include "tests/security/attack_records.h"

namespace hb_test {
namespace {

constexpr int32_t ENABLE = 207;
constexpr int32_t DISABLE = 208;

void need(const Words &words, std::size_t count, const char *what) {
    if (words.size() != count) {
        throw std::invalid_argument(std::string("expected ") + what);
    }
}

void want_descriptors() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// The part of the wanted number that was accepted; it is held until the input ends.
int hold(std::size_t got, std::size_t wanted, const char *what) {
    say("holds " + std::to_string(got) + " of " + std::to_string(wanted) + " " + what);
    wait_for_end_of_input();
    return got == wanted ? 0 : 1;
}

int hold_connections(const Words &words) {
    need(words, 2, "the path of the socket and a number");
    want_descriptors();
    const std::size_t wanted = std::stoul(words[1]);
    std::size_t held = 0;
    for (std::size_t i = 0; i < wanted; ++i) {
        const int socket = connect_to(words[0]);
        held += socket >= 0 && answers(socket) ? 1 : 0;
    }
    return hold(held, wanted, "connections");
}

int hold_subscriptions(const Words &words) {
    need(words, 3, "the path of the socket, a number of connections and a number of subscriptions of each");
    const std::size_t connections = std::stoul(words[1]);
    const std::size_t each = std::stoul(words[2]);
    std::size_t held = 0;
    for (std::size_t i = 0; i < connections; ++i) {
        const int socket = connect_to(words[0]);
        for (std::size_t j = 0; j < each && send_all(socket, subscription_record("s" + std::to_string(j)));
             ++j) {
        }
        held += answers(socket) ? each : 0;
    }
    return hold(held, connections * each, "subscriptions");
}

// Sends requests without end and reads no answer.
int fill_queues(const Words &words) {
    need(words, 3, "the path of the socket, a number of connections and a number of requests of each");
    const std::size_t connections = std::stoul(words[1]);
    const std::size_t requests = std::stoul(words[2]);
    std::vector<pollfd> held;
    for (std::size_t i = 0; i < connections; ++i) {
        const int socket = connect_to(words[0]);
        for (std::size_t j = 0; j < requests && send_all(socket, request_record(201)); ++j) {
        }
        held.push_back({socket, POLLRDHUP, 0});
    }
    // When a new request is answered or rejected, the daemon has processed everything before it.
    answers(connect_to(words[0]));
    poll(held.data(), held.size(), 0);
    std::size_t left = 0;
    for (const pollfd &one : held) {
        left += (one.revents & (POLLHUP | POLLRDHUP | POLLERR)) == 0 ? 1 : 0;
    }
    return hold(left, connections, "connections that do not read");
}

// Connects to the control socket and sends nothing. A rejected connection receives a line at once.
int hold_control(const Words &words) {
    need(words, 2, "the path of the control socket and a number");
    const std::size_t wanted = std::stoul(words[1]);
    std::vector<pollfd> held;
    for (std::size_t i = 0; i < wanted; ++i) {
        held.push_back({connect_to(words[0]), POLLIN, 0});
    }
    // Connections are accepted in order. When this one is answered, all earlier ones have been accepted.
    const int last = connect_to(words[0]);
    send_all(last, "{\"do\":\"nothing\"}\n");
    pollfd answered{last, POLLIN, 0};
    poll(&answered, 1, -1);
    poll(held.data(), held.size(), 0);
    std::size_t left = 0;
    for (const pollfd &one : held) {
        left += one.revents == 0 ? 1 : 0;
    }
    return hold(left, wanted, "control connections");
}

int act_repeatedly(const Words &words) {
    need(words, 2, "the path of the socket and a number");
    const int socket = connect_to(words[0]);
    for (int i = 0; i < std::stoi(words[1]); ++i) {
        if (!send_all(socket, adapter_record(i % 2 == 0 ? DISABLE : ENABLE, 1))) {
            return refused("wispd takes no more");
        }
    }
    if (!answers(socket)) {
        return refused("wispd does not answer");
    }
    say("sent " + words[1] + " requests");
    return 0;
}

// Sends on many connections, as fast as wispd reads, until standard input ends.
int flood(const Words &words) {
    need(words, 2, "the path of the socket and a number of connections");
    struct Flooded {
        int socket;
        std::size_t sent = 0; // bytes of the requests; the next piece continues where the last one ended
    };
    std::vector<Flooded> all;
    for (int i = 0; i < std::stoi(words[1]); ++i) {
        all.push_back({connect_to(words[0])});
    }
    std::string requests;
    while (requests.size() < 65536) {
        requests += adapter_record(DISABLE, 1) + adapter_record(ENABLE, 1);
    }
    say("flooding");
    for (pollfd input = {STDIN_FILENO, POLLIN, 0}; poll(&input, 1, 1) == 0;) {
        for (Flooded &one : all) {
            const ssize_t sent = send(one.socket, requests.data() + one.sent, requests.size() - one.sent,
                                      MSG_DONTWAIT | MSG_NOSIGNAL);
            one.sent = (one.sent + static_cast<std::size_t>(sent > 0 ? sent : 0)) % requests.size();
        }
    }
    return 0;
}

// If wispd confirms suspicions at once, the adapter dies each time. It is then enabled again.
int suspect_repeatedly(const Words &words) {
    need(words, 2, "the path of the socket and a number");
    constexpr int32_t ADAPTER_MAY_BE_DOWN = 205;
    constexpr std::size_t ADAPTER = 3; // of network 1; the body has this length
    const int socket = connect_to(words[0]);
    for (int i = 0; i < std::stoi(words[1]); ++i) {
        if (!send_all(socket, request_record(ADAPTER_MAY_BE_DOWN, std::string(ADAPTER, '\0'))) ||
            !answers(socket) || !send_all(socket, adapter_record(DISABLE, 1) + adapter_record(ENABLE, 1))) {
            return refused("wispd does not answer");
        }
    }
    say("sent " + words[1] + " suspicions");
    return 0;
}

int control_repeatedly(const Words &words) {
    need(words, 2, "the path of the control socket and a number");
    const int socket = connect_to(words[0]);
    for (int i = 0; i < std::stoi(words[1]); ++i) {
        const std::string verb = i % 2 == 0 ? "adapter-down" : "adapter-up";
        char answer[64];
        if (!send_all(socket, "{\"do\":\"" + verb + "\",\"adapter\":5}\n") ||
            recv(socket, answer, sizeof answer, 0) <= 0) {
            return refused("wispd does not answer");
        }
    }
    say("sent " + words[1] + " verbs");
    return 0;
}

const Add_Attack CONNECTIONS({"hold-connections", "SOCKET COUNT", hold_connections});
const Add_Attack SUBSCRIPTIONS({"hold-subscriptions", "SOCKET CONNECTIONS EACH", hold_subscriptions});
const Add_Attack QUEUES({"fill-queues", "SOCKET CONNECTIONS REQUESTS", fill_queues});
const Add_Attack CONTROL({"hold-control", "CONTROL COUNT", hold_control});
const Add_Attack ACT({"act-repeatedly", "SOCKET COUNT", act_repeatedly});
const Add_Attack FLOOD({"flood", "SOCKET CONNECTIONS", flood});
const Add_Attack SUSPICIONS({"suspect-repeatedly", "SOCKET COUNT", suspect_repeatedly});
const Add_Attack VERBS({"control-repeatedly", "CONTROL COUNT", control_repeatedly});

} // namespace
} // namespace hb_test
