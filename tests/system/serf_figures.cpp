// SPDX-License-Identifier: Apache-2.0
// What wispd costs with simulated Serf agents on 48 networks: a program that prints the table of docs/scaling.md.
//
// Usage: serf_figures [MEMBERS...]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/resource.h>

#include "tests/support/records.h"
#include "tests/support/serf_agent.h"
#include "tests/system/daemon.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int NETWORKS = 48;
constexpr int CLIENTS = 100;
constexpr std::chrono::seconds PATIENCE{300};
constexpr double RECORD = 64; // bytes of an adapter's record

double milliseconds_since(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

Bytes subscribe_to_all_nodes() {
    Bytes body;
    body.i32(1).i32(0).i32(7).text("all", 32).zeros(4).zeros(12300);
    return frame(request(209, 4711, body));
}

std::string file_for(const std::vector<std::unique_ptr<Serf_Agent>> &agents) {
    std::string text = "[cluster]\nname = \"gossip\"\n[source]\ntype = \"serf\"\ndiscover = true\n";
    for (std::size_t network = 0; network < agents.size(); ++network) {
        text += "[[source.agent]]\nnetwork = " + std::to_string(network) + "\nrpc = \"" +
                agents[network]->address() + "\"\n";
    }
    return text;
}

std::vector<Stream> subscribed_clients(const Daemon &daemon) {
    std::vector<Stream> clients;
    for (int client = 0; client < CLIENTS; ++client) {
        clients.emplace_back(daemon.socket());
        clients.back().send(frame(request(201, 4711)));
        clients.back().read_record();
        clients.back().send(subscribe_to_all_nodes());
        clients.back().read_record();
    }
    return clients;
}

// The memory that wispd has for itself, without the pages of its program and libraries.
double private_bytes(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    double bytes = 0;
    for (std::string word; status >> word;) {
        double kilobytes = 0;
        if ((word == "RssAnon:" || word == "RssShmem:") && status >> kilobytes) {
            bytes += kilobytes * 1024;
        }
    }
    return bytes;
}

// The same when it no longer falls: wispd returns what it needed for the first report.
double settled_private_bytes(pid_t pid) {
    double least = private_bytes(pid);
    for (auto since = Clock::now(); Clock::now() - since < std::chrono::seconds(1);) {
        if (const double now = private_bytes(pid); now < least) {
            least = now;
            since = Clock::now();
        }
    }
    return least;
}

void measure(int members) {
    std::vector<std::unique_ptr<Serf_Agent>> agents;
    for (int network = 0; network < NETWORKS; ++network) {
        std::vector<Simulated_Member> all = simulated_members(members - 1, network);
        all.push_back({"n0", "10." + std::to_string(network) + ".255.1"});
        agents.push_back(std::make_unique<Serf_Agent>(Serf_Agent_Plan{"n1", std::move(all), "", 0}));
    }
    Daemon daemon(programs_of_this_build(), file_for(agents));
    const auto begin = Clock::now();
    if (!daemon.start(Deadline(PATIENCE))) {
        throw std::runtime_error("wispd does not start");
    }
    const double start = milliseconds_since(begin);
    const double records = members * NETWORKS * RECORD;
    const double memory = settled_private_bytes(daemon.pid());
    const std::vector<Stream> clients = subscribed_clients(daemon);

    std::vector<std::string> dead;
    for (int number = 2; number <= std::min(1001, members - 1); ++number) {
        dead.push_back("n" + std::to_string(number));
    }
    const auto failure = Clock::now();
    for (const auto &agent : agents) {
        agent->change("member-failed", dead);
    }
    const double reported = milliseconds_since(failure);
    for (const Stream &client : clients) {
        client.read_record();
    }
    std::printf("| %d | %d | %.0f ms | %.1f MB | %.2f | %zu | %.0f ms | %.0f ms |\n", members,
                members * NETWORKS, start, memory / 1e6, memory / records, dead.size(), reported,
                milliseconds_since(failure));
    std::fflush(stdout);
    if (!daemon.stop()) {
        throw std::runtime_error("wispd does not stop as it should");
    }
}

} // namespace
} // namespace hb_test

int main(int argc, char **argv) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    std::printf(
        "| members | adapters | start to first report | private memory of wispd | times its records | fail at "
        "once "
        "| sent by the agents after | read by 100 clients after |\n|---|---|---|---|---|---|---|---|\n");
    try {
        for (int argument = 1; argument < argc; ++argument) {
            hb_test::measure(std::atoi(argv[argument]));
        }
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "serf_figures: %s\n", error.what());
        return 1;
    }
}
