// SPDX-License-Identifier: Apache-2.0
// Follows one Serf agent through its RPC socket and writes a line for every event that it reports. Tests compare
// clients with this independent record.
//
// Lines of its output, each preceded by the time of the monotonic clock in seconds:
//
//   agent NAME=ADDRESS,STATUS...      connected: the agent's list of members
//   KIND NAME=ADDRESS,STATUS...       an event: member-join, member-leave, member-failed, member-update, member-reap
//   gone                              the agent has disconnected
//
// With --numbers, the tag hb_node replaces each name that has one. It connects again by itself, and ends when its
// input ends.
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iostream>
#include <poll.h>
#include <string>
#include <unistd.h>

#include "tests/cluster/serf_rpc.h"

namespace {

using namespace hb_test;

constexpr int MILLISECONDS_BETWEEN_ATTEMPTS = 10;
constexpr std::chrono::seconds PATIENCE{3600}; // a stopped agent answers when it continues

struct Options {
    std::string address;
    std::string auth_key;
    bool numbers = false;
};

std::string now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%lld.%09ld ", static_cast<long long>(time.tv_sec), time.tv_nsec);
    return text.data();
}

void say(const std::string &line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

std::string text_of(const std::vector<Serf_Member> &members, const Options &options) {
    std::string text;
    for (const Serf_Member &member : members) {
        const auto number = member.tags.find("hb_node");
        text += " " + (options.numbers && number != member.tags.end() ? number->second : member.name) + "=" +
                member.address + "," + member.status;
    }
    return text;
}

bool input_ended(int milliseconds) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, milliseconds) <= 0 || input.revents == 0) {
        return false;
    }
    char byte = 0;
    return read(STDIN_FILENO, &byte, 1) <= 0;
}

// Returns when the agent disconnects or the input ends. The stream begins before the list, so no event is lost
// between them.
void follow(Serf_Rpc &agent, const Options &options, bool &followed) {
    agent.stream(Deadline(PATIENCE));
    const std::vector<Serf_Member> members = agent.members(Deadline(PATIENCE));
    say(now() + "agent" + text_of(members, options));
    followed = true;
    for (;;) {
        while (const std::optional<Serf_Event> event =
                   agent.next_event(Deadline(std::chrono::milliseconds(0)))) {
            say(now() + event->kind + text_of(event->members, options));
        }
        std::array<pollfd, 2> ready{{{STDIN_FILENO, POLLIN, 0}, {agent.descriptor(), POLLIN, 0}}};
        poll(ready.data(), ready.size(), -1);
        if (ready[0].revents != 0 && input_ended(0)) {
            return;
        }
    }
}

void observe(const Options &options) {
    do {
        bool followed = false;
        try {
            Unique_Fd socket = connect_to_serf(options.address);
            if (socket) {
                Serf_Rpc agent(std::move(socket), options.auth_key, Deadline(PATIENCE));
                follow(agent, options, followed);
                return;
            }
        } catch (const std::exception &trouble) {
            if (followed) {
                say(now() + "gone");
            }
            std::cerr << "serf_observer: " << trouble.what() << std::endl;
        }
    } while (!input_ended(MILLISECONDS_BETWEEN_ATTEMPTS));
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--key") == 0 && i + 1 < argc) {
            options.auth_key = argv[++i];
        } else if (std::strcmp(argv[i], "--numbers") == 0) {
            options.numbers = true;
        } else {
            options.address = argv[i];
        }
    }
    if (options.address.empty()) {
        std::cerr << "usage: serf_observer [--key KEY] [--numbers] ADDRESS:PORT\n";
        return 2;
    }
    observe(options);
    return 0;
}
