// SPDX-License-Identifier: Apache-2.0
// The program of ./demo cluster: real engines on three hosts that are namespaces of this machine, with a wispd
// and a client on each, while a link and an engine fail and return.
#include <csignal>
#include <iostream>

#include <CLI/CLI.hpp>

#include "tests/cluster/demo/acts.h"

namespace {

using namespace hb_demo;

constexpr int FAILED = 1;
constexpr int NOT_POSSIBLE = 3;
constexpr int INTERRUPTED = 130;

volatile std::sig_atomic_t told_to_end = 0;

bool take_signals() {
    struct sigaction action {};
    action.sa_handler = [](int) { told_to_end = 1; };
    bool taken = true;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        taken = sigaction(signal, &action, nullptr) == 0 && taken;
    }
    return taken;
}

void introduce(const Stage &stage, Screen &screen) {
    screen.say("Three hosts, each in its own namespaces, have two links between them. On each host a real\n"
               "Corosync (token " +
               std::to_string(stage.settings().token) +
               " ms) decides which nodes are members, and wispd follows it. The client,\n"
               "hbctl watch, receives events from wispd through libhb_client.so. A node's end of a link is an\n"
               "adapter:\n\n"
               "  host    node   adapter on link0      adapter on link1");
    for (int host = 1; host <= Stage::HOSTS; ++host) {
        std::string line = "  host" + std::to_string(host) + "      " + std::to_string(host);
        for (int link = 0; link < Stage::LINKS; ++link) {
            const std::string number = std::to_string(Stage::adapter(host, link));
            line += std::string(link == 0 ? 7 - number.size() : 10 - number.size(), ' ') + number + "  " +
                    hb_test::Host_Namespaces::address(host, link);
        }
        screen.say(line);
    }
}

bool all_know_everyone(const Stage &stage) {
    for (int host = 1; host <= Stage::HOSTS; ++host) {
        if (stage.view(host).up() != everyone()) {
            return false;
        }
    }
    return true;
}

void show(const Parts &parts) {
    Screen screen(std::cout, Stage::HOSTS);
    Stage stage(parts, screen, told_to_end);
    introduce(stage, screen);
    screen.say(
        "\nThe engines start. An engine waits longer before it reports a new link down, so the demo begins\n"
        "when all links are established, after about ten seconds.");
    stage.start_engines();
    stage.start_daemons();
    screen.headline("The engines agree and every wispd runs: the clients connect", "", now());
    stage.start_clients();
    stage.play_until("the clients' receipt of all nodes and adapters",
                     [&] { return all_know_everyone(stage); });
    std::vector<Delays> delays;
    for (const Act &act : acts()) {
        const std::vector<Delays> took = play(stage, screen, act);
        delays.insert(delays.end(), took.begin(), took.end());
    }
    screen.table("Time from the fault until each client had received all of it", delays);
}

int run(const Parts &parts) {
    try {
        if (!take_signals()) {
            throw std::runtime_error("cannot install the signal handlers");
        }
        show(parts);
        // Hosts and programs have ended by now.
        std::cout << "\nThe demo is complete: every client received every fault and every repair.\n";
        return 0;
    } catch (const std::exception &trouble) {
        // A signal from the terminal reaches all programs, so one of them may end before the signal is noticed
        // here.
        if (told_to_end != 0) {
            std::cerr << "\ndemo_cluster: interrupted\n";
            return INTERRUPTED;
        }
        std::cerr << "\ndemo_cluster: " << trouble.what() << '\n';
        return FAILED;
    }
}

} // namespace

int main(int argc, char **argv) {
    Parts parts;
    CLI::App app(
        "Shows three Corosync nodes on this machine, with a wispd and a client each, while a link and an "
        "engine fail and\nrecover. Exits with status 3 if this machine does not permit it.");
    app.add_option("--programs", parts.programs, "The directory of wispd and hbctl, absolute")->required();
    app.add_option("--config", parts.configuration, "The configuration of every wispd, absolute")->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (const std::optional<std::string> reason = hb_test::why_no_hosts()) {
        std::cerr << "demo_cluster: no cluster on this machine: " << *reason << '\n';
        return NOT_POSSIBLE;
    }
    return run(parts);
}
