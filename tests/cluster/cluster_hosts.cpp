// SPDX-License-Identifier: Apache-2.0
// Runs a real cluster on this machine while its input is open. Prints how to enter each host, and runs one
// command for each line.
#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "tests/cluster/host_commands.h"
#include "tests/cluster/hosts.h"

namespace {

using namespace hb_test;

constexpr int NOT_POSSIBLE = 3;

struct Options {
    int hosts = 3;
    int links = 2;
    Engine_Settings engine;
    bool only_hosts = false;
    bool only_ask = false;
};

int nothing_to_read = -1;

// Ends the current or next read, as at the end of input.
void end_of_input(int) {
    dup2(nothing_to_read, STDIN_FILENO);
}

// A signal ends the hosts in the same way as the end of input.
bool take_signals() {
    nothing_to_read = open("/dev/null", O_RDONLY | O_CLOEXEC);
    struct sigaction action {};
    action.sa_handler = end_of_input; // without SA_RESTART: a waiting read must end
    bool taken = nothing_to_read >= 0;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        taken = sigaction(signal, &action, nullptr) == 0 && taken;
    }
    return taken;
}

void introduce(const Hosts &hosts) {
    for (int host = 1; host <= hosts.count(); ++host) {
        std::cout << "host " << host;
        for (const std::string &word : hosts.places().entering(host)) {
            std::cout << ' ' << word;
        }
        std::cout << '\n';
    }
}

int serve(const Options &options) {
    Hosts hosts(options.hosts, options.links, options.engine);
    introduce(hosts);
    if (!options.only_hosts) {
        hosts.start_all();
        if (!hosts.wait_quorum()) {
            std::cerr << "cluster_hosts: the engines found no quorum:\n" << hosts.account();
            return 1;
        }
    }
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        std::cout << obey(hosts, line) << std::flush;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app(
        "Runs a Corosync cluster of several hosts on this machine, in namespaces of their own, until the end "
        "of its input.\nPrints \"host N COMMAND\" for each host, COMMAND being what runs a program inside it "
        "when written before it, then\n\"ready\". Exits with 3 when this machine does not permit it.");
    app.add_option("--hosts", options.hosts, "How many hosts")->check(CLI::Range(1, 64))->capture_default_str();
    app.add_option("--links", options.links, "How many links")->check(CLI::Range(1, 8))->capture_default_str();
    app.add_option("--token", options.engine.token, "The engine's token timeout, in milliseconds")
        ->check(CLI::Range(300, 60000))
        ->capture_default_str();
    app.add_option("--user", options.engine.users, "A user id that may talk to the engines, beside root");
    app.add_flag("--no-engines", options.only_hosts, "Start no engine; \"start\" does");
    app.add_flag("--can", options.only_ask, "Only find out whether this machine permits it");
    app.footer(
        std::string(
            "Commands, one on each line; each is answered by a line \"ok TIME\" or \"error: ...\":\n\n") +
        HOST_COMMANDS_HELP);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (const std::optional<std::string> reason = why_no_hosts()) {
        std::cerr << "cluster_hosts: no cluster on this machine: " << *reason << '\n';
        return NOT_POSSIBLE;
    }
    if (options.only_ask) {
        return 0;
    }
    try {
        return take_signals() ? serve(options) : 1;
    } catch (const std::exception &trouble) {
        std::cerr << "cluster_hosts: " << trouble.what() << '\n';
        return 1;
    }
}
