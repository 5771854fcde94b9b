// SPDX-License-Identifier: Apache-2.0
// Random faults over real Serf agents on this machine, and a report of the events that wispd's clients received.
#include <fstream>
#include <iostream>

#include <CLI/CLI.hpp>

#include "tests/cluster/serf_storm.h"

namespace {

using namespace hb_test;

constexpr int NOT_POSSIBLE = 3;

struct Options {
    unsigned faults = 200;
    unsigned seed = 1;
    Serf_Cluster_Plan plan;
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

// Writes everything recorded, for the analysis of a failure.
void write_records(const std::string &directory, Serf_Cluster &cluster, const Storm_Outcome &outcome) {
    const auto lines_of = [](const std::vector<std::string> &lines) {
        std::string text;
        for (const std::string &line : lines) {
            text += line + "\n";
        }
        return text;
    };
    write_file(directory + "/faults", lines_of(outcome.history));
    for (const int node : cluster.plan().watched) {
        const std::string number = std::to_string(node);
        std::string client;
        for (const Told &told : cluster.client(node).told()) {
            client += told.line + "\n";
        }
        write_file(directory + "/client" + number, client);
        write_file(directory + "/wispd" + number, cluster.wispd(node).log());
        for (int network = 0; network < cluster.plan().networks; ++network) {
            write_file(directory + "/observer" + number + "-" + std::to_string(network),
                       lines_of(cluster.observed(node, network)));
        }
    }
}

int storm(const Options &options) {
    Serf_Cluster cluster(options.plan);
    if (!cluster.start()) {
        std::cerr << "serf_storm: the cluster did not start:\n" << cluster.account();
        return 1;
    }
    Serf_Storm faults(cluster, options.seed, &std::cout);
    for (const std::string &kind : options.left_out) {
        faults.leave_out(kind);
    }
    const Storm_Outcome outcome = faults.run(options.faults);
    const std::string report = serf_storm_report(outcome, cluster, options.seed);
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
    options.plan.nodes = 8;
    options.plan.networks = 2;
    CLI::App app(
        "Makes random faults in a cluster of Serf agents on this machine, and compares what wispd's clients "
        "received with what\nthe agents reported. Exits with 1 when something does not match, with 3 when "
        "this machine cannot run it.");
    app.add_option("--faults", options.faults, "number of faults")->capture_default_str();
    app.add_option("--seed", options.seed, "seed of the choice of faults")->capture_default_str();
    app.add_option("--nodes", options.plan.nodes, "number of nodes")
        ->check(CLI::Range(4, 50))
        ->capture_default_str();
    app.add_option("--networks", options.plan.networks, "number of networks")
        ->check(CLI::Range(1, 8))
        ->capture_default_str();
    app.add_option("--grace", options.plan.grace_seconds, "grace_seconds of wispd")->capture_default_str();
    app.add_option("--without", options.left_out, "leave out the faults whose names begin like this");
    app.add_option("--report", options.report, "write the report to this file as well");
    app.add_option("--records", options.records, "write all records into this directory")
        ->check(CLI::ExistingDirectory);
    CLI11_PARSE(app, argc, argv);
    options.plan.watched = {1, options.plan.nodes / 2, options.plan.nodes};
    if (const std::optional<std::string> reason = why_no_agents()) {
        std::cerr << "serf_storm: no agents on this machine: " << *reason << '\n';
        return NOT_POSSIBLE;
    }
    try {
        return storm(options);
    } catch (const std::exception &trouble) {
        std::cerr << "serf_storm: " << trouble.what() << '\n';
        return 1;
    }
}
