// SPDX-License-Identifier: Apache-2.0
// Measures on a real cluster on this machine how long it takes until a client receives the event of a fault,
// for several token timeouts. Prints a table.
#include <chrono>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sys/utsname.h>
#include <thread>

#include <CLI/CLI.hpp>

#include "tests/cluster/detection/figures.h"
#include "tests/cluster/detection/measurement.h"

namespace {

using namespace hb_test;

constexpr int NOT_POSSIBLE = 3;

struct Options {
    std::vector<int> tokens{1000, 2000, 3000};
    int runs = 10;
    int link_timeout = 0;
    Watched_Cluster cluster;
};

const std::vector<std::pair<Figure, std::string>> ROWS{
    {Figure::links_lost_by_kill, "engine killed: its adapters die"},
    {Figure::left_by_kill, "engine killed: the other engines report that it left"},
    {Figure::node_death_by_kill, "engine killed: the node dies"},
    {Figure::from_engine_to_client, "of that, from the engine's report to the client's event"},
    {Figure::node_death_by_cut, "host cut off: the node dies"},
    {Figure::node_death_by_stop, "engine stopped: the node dies"},
    {Figure::node_join_by_start, "engine started: the node joins"},
    {Figure::links_up_by_start, "engine started: all its adapters have joined"},
    {Figure::link_cut, "link cut: the adapter dies"},
    {Figure::young_link_cut, "link cut that has just come up: the adapter dies"},
    {Figure::link_restored, "link restored: the adapter joins"},
};

std::string processor() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(": ") + 2);
        }
    }
    return "unknown processor";
}

std::string today() {
    const std::time_t time = std::time(nullptr);
    char text[20];
    std::strftime(text, sizeof text, "%Y-%m-%d", std::gmtime(&time));
    return text;
}

void describe(const Options &options) {
    utsname system{};
    uname(&system);
    std::cout
        << today() << ", " << options.cluster.hosts << " hosts on one machine with "
        << std::thread::hardware_concurrency() << " processors (" << processor() << "), Linux "
        << system.release << "; " << options.runs << " runs, links down after "
        << (options.link_timeout == 0 ? std::string("half of the token")
                                      : std::to_string(options.link_timeout) + " ms")
        << ".\nMedians, with the least and the most in brackets, in seconds where nothing else is said.\n\n";
}

std::vector<std::vector<std::string>> table(const std::vector<std::pair<int, Measured>> &measured) {
    std::vector<std::vector<std::string>> rows{{"what"}};
    for (const auto &[token, figures] : measured) {
        rows[0].push_back("token " + std::to_string(token));
    }
    for (const auto &[figure, title] : ROWS) {
        rows.push_back({title});
        for (const auto &[token, one] : measured) {
            const auto found = one.figures.find(figure);
            const std::vector<double> times =
                found == one.figures.end() ? std::vector<double>() : found->second;
            rows.back().push_back(figure == Figure::from_engine_to_client ? in_milliseconds(times)
                                                                          : in_seconds(times));
        }
    }
    return rows;
}

int run(Options options) {
    std::vector<std::pair<int, Measured>> measured;
    int left_out = 0;
    for (const int token : options.tokens) {
        options.cluster.engine.token = token;
        options.cluster.engine.link_timeout =
            options.link_timeout == 0 ? std::nullopt : std::optional(options.link_timeout);
        measured.emplace_back(token, measure(options.cluster, options.runs, std::cerr));
        left_out += measured.back().second.left_out;
    }
    describe(options);
    std::cout << markdown(table(measured));
    if (left_out > 0) {
        std::cout << "\nLeft out, because something else happened in them: " << left_out << " runs.\n";
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app(
        "Measures how long it takes until a client is told of a fault, on a cluster of several hosts on this "
        "machine, and prints\na table. Exits with 3 when this machine does not permit such a cluster.");
    app.add_option("--tokens", options.tokens, "The engine's token timeouts, in milliseconds")
        ->delimiter(',')
        ->check(CLI::Range(300, 60000))
        ->capture_default_str();
    app.add_option("--runs", options.runs, "How often each fault is made")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_option("--hosts", options.cluster.hosts, "How many hosts")
        ->check(CLI::Range(3, 16))
        ->capture_default_str();
    app.add_option("--link-timeout", options.link_timeout,
                   "Milliseconds until a link is down; 0: as the engine derives it from the token")
        ->check(CLI::Range(0, 60000))
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        if (const std::optional<std::string> reason = why_no_hosts()) {
            std::cerr << "cluster_detection: no cluster on this machine: " << *reason << '\n';
            return NOT_POSSIBLE;
        }
        return run(options);
    } catch (const std::exception &trouble) {
        std::cerr << "cluster_detection: " << trouble.what() << '\n';
        return 1;
    }
}
