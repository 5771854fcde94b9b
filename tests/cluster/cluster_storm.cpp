// SPDX-License-Identifier: Apache-2.0
// Random faults over a real cluster on this machine, and a report of the events that its clients received.
#include <fstream>
#include <iostream>

#include <CLI/CLI.hpp>

#include "tests/cluster/engine_cluster.h"
#include "tests/cluster/storm.h"

namespace {

using namespace hb_test;

constexpr int NOT_POSSIBLE = 3;

struct Options {
    unsigned faults = 200;
    unsigned seed = 1;
    int hosts = 4;
    int links = 2;
    Engine_Patience patience{100, 5};
    std::string report;
    std::string records;
    std::vector<std::string> left_out;
};

void write_file(const std::string &path, const std::string &text) {
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

// Prints all recorded lines, for the analysis of a failure.
void write_records(const std::string &directory, Engine_Cluster &cluster, const Storm_Outcome &outcome) {
    std::string history;
    for (const std::string &line : outcome.history) {
        history += line + "\n";
    }
    write_file(directory + "/faults", history);
    for (int host = 1; host <= cluster.hosts().count(); ++host) {
        std::string client;
        for (const Told &told : cluster.client(host).told()) {
            client += told.line + "\n";
        }
        std::string observer;
        for (const std::string &line : cluster.observer(host).lines()) {
            observer += line + "\n";
        }
        const std::string number = std::to_string(host);
        write_file(directory + "/client" + number, client);
        write_file(directory + "/observer" + number, observer);
        write_file(directory + "/wispd" + number, cluster.wispd(host).log());
        write_file(directory + "/engine" + number, cluster.hosts().log(host));
    }
}

int storm(const Options &options) {
    Engine_Cluster cluster(options.hosts, options.links, options.patience);
    if (!cluster.start()) {
        std::cerr << "cluster_storm: the cluster did not start:\n" << cluster.account();
        return 1;
    }
    Storm faults(cluster, options.seed, &std::cout);
    for (const std::string &kind : options.left_out) {
        faults.leave_out(kind);
    }
    const Storm_Outcome outcome = faults.run(options.faults);
    const std::string report = storm_report(outcome, cluster, options.seed);
    std::cout << '\n' << report;
    if (!options.report.empty()) {
        write_file(options.report, report);
    }
    if (!options.records.empty()) {
        write_records(options.records, cluster, outcome);
    }
    return outcome.good() ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app(
        "Lets random faults happen to a Corosync cluster of several hosts on this machine, and compares what "
        "wispd's clients were told\nwith what the engines went through. Exits with 1 when something does not "
        "match, with 3 when this machine does not permit it.");
    app.add_option("--faults", options.faults, "How many faults")->capture_default_str();
    app.add_option("--seed", options.seed, "What the faults follow from")->capture_default_str();
    app.add_option("--hosts", options.hosts, "How many hosts")->check(CLI::Range(2, 16))->capture_default_str();
    app.add_option("--links", options.links, "How many links")->check(CLI::Range(1, 8))->capture_default_str();
    app.add_option("--grace", options.patience.grace_seconds, "wispd's grace, in seconds")
        ->capture_default_str();
    app.add_option("--without", options.left_out, "Leave out the faults whose names begin like this");
    app.add_option("--report", options.report, "Write the report to this file as well");
    app.add_option("--records", options.records, "Write all that everybody wrote down into this directory")
        ->check(CLI::ExistingDirectory);
    CLI11_PARSE(app, argc, argv);
    if (const std::optional<std::string> reason = why_no_hosts()) {
        std::cerr << "cluster_storm: no cluster on this machine: " << *reason << '\n';
        return NOT_POSSIBLE;
    }
    try {
        return storm(options);
    } catch (const std::exception &trouble) {
        std::cerr << "cluster_storm: " << trouble.what() << '\n';
        return 1;
    }
}
