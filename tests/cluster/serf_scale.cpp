// SPDX-License-Identifier: Apache-2.0
// Measures clusters of Serf agents on this machine: a tenth of the agents is killed at once, and every client of wispd
// receives it. Prints the tables of docs/scaling.md.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <numeric>
#include <sstream>
#include <sys/utsname.h>
#include <thread>

#include <CLI/CLI.hpp>

#include "tests/cluster/detection/figures.h"
#include "tests/cluster/serf_cluster.h"

namespace {

using namespace hb_test;

constexpr int NOT_POSSIBLE = 3;

struct Options {
    std::vector<int> agents{10, 50, 150, 300};
    int wispds = 10;
    std::string profile = "lan";
    std::string data;
};

struct Figures {
    int agents = 0;
    std::size_t wispds = 0;
    std::size_t killed = 0;
    std::vector<double> first_report; // from the kill to the agent's first report, one for each watched node
    std::vector<double> last_report;  // to the report of the last killed node
    std::vector<double> first_event;  // the same for the client's events
    std::vector<double> last_event;
    std::vector<double>
        behind_agent;            // from the agent's report of a node to the client's event, one for each node
    std::vector<double> reports; // of failed members by an agent
    std::vector<double> events;  // of node deaths at a client
    std::vector<double> seconds_used; // by a wispd, from the kill to the end
    std::vector<double> memory;       // of a wispd, in bytes
    std::vector<double> start_bytes;  // that a wispd received from its agent up to the kill
    std::vector<double> kill_bytes;   // and from then on
};

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::set<int> spread(int count, int nodes) {
    std::set<int> chosen;
    for (int i = 0; i < count; ++i) {
        chosen.insert(1 + i * nodes / count);
    }
    return chosen;
}

// A tenth of the nodes, from the last one downwards, without the watched ones.
std::set<int> tenth(int nodes, const std::set<int> &watched) {
    std::set<int> chosen;
    for (int node = nodes; node > 0 && static_cast<int>(chosen.size()) < std::max(1, nodes / 10); --node) {
        if (watched.count(node) == 0) {
            chosen.insert(node);
        }
    }
    return chosen;
}

double resident_bytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return std::stod(line.substr(6)) * 1024;
        }
    }
    throw std::runtime_error("the memory of wispd is unknown");
}

// The bytes that the process has received on its connections to agents, by the kernel's own count.
double received_bytes(const Serf_Agents &agents, pid_t process) {
    const Finished asked =
        agents.places().run_to_end(Serf_Agents::HOST, {"ss", "-tinpHO", "dport", "=", ":7373"});
    const std::string owner = "pid=" + std::to_string(process) + ",";
    const std::string count = "bytes_received:";
    double all = 0;
    std::istringstream lines(asked.output);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t at = line.find(count);
        if (line.find(owner) != std::string::npos && at != std::string::npos) {
            all += std::stod(line.substr(at + count.size()));
        }
    }
    return all;
}

// The time of each node in the observer's reports of failed members since then, and how many reports there were.
std::map<int, double> reported(const std::vector<std::string> &lines, double since, double &reports) {
    std::map<int, double> times;
    for (const std::string &line : lines) {
        std::istringstream words(line);
        double at = 0;
        std::string kind;
        words >> at >> kind;
        if (at < since || kind != "member-failed") {
            continue;
        }
        ++reports;
        for (std::string word; words >> word;) {
            times.emplace(std::stoi(word), at);
        }
    }
    return times;
}

void note(Figures &figures, Serf_Cluster &cluster, int node, std::size_t mark, double killed_at,
          const std::set<int> &killed) {
    double reports = 0;
    const std::map<int, double> by_agent = reported(cluster.observed(node, 0), killed_at, reports);
    const Received received = cluster.received(node, mark, Told::Kind::death);
    figures.reports.push_back(reports);
    figures.events.push_back(received.events);
    figures.first_event.push_back(received.first - killed_at);
    figures.last_event.push_back(received.last - killed_at);
    double first = INFINITY;
    double last = 0;
    for (const int one : killed) {
        const auto report = by_agent.find(one);
        if (report == by_agent.end()) {
            throw std::runtime_error("the observer of node " + std::to_string(node) + " missed node " +
                                     std::to_string(one));
        }
        first = std::min(first, report->second);
        last = std::max(last, report->second);
        const std::vector<Told> &told = cluster.client(node).told();
        const auto event = std::find_if(
            told.begin() + static_cast<std::ptrdiff_t>(mark), told.end(), [&](const Told &one_told) {
                return one_told.is(Told::Kind::death, true) && one_told.tells_of(static_cast<unsigned>(one));
            });
        figures.behind_agent.push_back(event->at - report->second);
    }
    figures.first_report.push_back(first - killed_at);
    figures.last_report.push_back(last - killed_at);
}

Figures measure(int agents, const Options &options) {
    Serf_Cluster_Plan plan;
    plan.nodes = agents;
    plan.watched = spread(std::min(options.wispds, agents / 2), agents);
    plan.discover = true;
    plan.agents.profile = options.profile;
    const std::set<int> killed = tenth(agents, plan.watched);
    Figures figures;
    figures.agents = agents;
    figures.wispds = plan.watched.size();
    figures.killed = killed.size();

    Serf_Cluster cluster(plan);
    if (!cluster.start(Deadline(std::chrono::minutes(4)))) {
        throw std::runtime_error("the cluster did not start:\n" + cluster.account());
    }
    std::set<int> left = nodes_up_to(agents);
    std::erase_if(left, [&](int node) { return killed.count(node) != 0; });
    std::map<int, std::size_t> marks;
    std::map<int, double> used;
    std::map<int, double> bytes;
    for (const int node : plan.watched) {
        marks[node] = cluster.client(node).mark();
        used[node] = cluster.wispd(node).seconds_used();
        bytes[node] = received_bytes(cluster.agents(), cluster.wispd(node).pid());
    }
    const double killed_at = now();
    cluster.agents().kill_all(0, killed);
    const auto observers_have_all = [&] {
        cluster.collect();
        return std::all_of(plan.watched.begin(), plan.watched.end(),
                           [&](int node) { return cluster.witness(node).nodes() == unsigned_of(left); });
    };
    if (!cluster.wait_nodes(plan.watched, left, Deadline(std::chrono::minutes(4))) ||
        !wait_until(observers_have_all)) {
        throw std::runtime_error("the clients did not receive all deaths:\n" + cluster.account());
    }
    for (const int node : plan.watched) {
        note(figures, cluster, node, marks[node], killed_at, killed);
        figures.seconds_used.push_back(cluster.wispd(node).seconds_used() - used[node]);
        figures.memory.push_back(resident_bytes(cluster.wispd(node).pid()));
        figures.start_bytes.push_back(bytes[node]);
        figures.kill_bytes.push_back(received_bytes(cluster.agents(), cluster.wispd(node).pid()) - bytes[node]);
    }
    return figures;
}

// ---- The tables ----

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double greatest(const std::vector<double> &values) {
    return *std::max_element(values.begin(), values.end());
}

// "1.5 (1 to 3)": the median, the least and the greatest.
std::string range(const std::vector<double> &values, double unit, int decimals) {
    const auto text = [&](double value) {
        std::array<char, 40> digits{};
        std::snprintf(digits.data(), digits.size(), "%.*f", decimals, value / unit);
        return std::string(digits.data());
    };
    return text(median(values)) + " (" + text(*std::min_element(values.begin(), values.end())) + " to " +
           text(greatest(values)) + ")";
}

std::vector<std::vector<std::string>> table(const std::vector<Figures> &all) {
    std::vector<std::vector<std::string>> rows{{"agents"},
                                               {"wispds, each with a client"},
                                               {"killed at once"},
                                               {"kill to the agent's first report, s"},
                                               {"kill to the agent's last report, s"},
                                               {"kill to the client's first event, s"},
                                               {"kill to the last event of the last client, s"},
                                               {"agent's report to the client's event, ms"},
                                               {"reports of failed members by an agent"},
                                               {"node-death events at its client"},
                                               {"processor time of wispd for all of it, ms"},
                                               {"memory of wispd, MB"},
                                               {"bytes from the agent at the start"},
                                               {"bytes from the agent for the deaths"}};
    for (const Figures &one : all) {
        const std::vector<std::string> column{std::to_string(one.agents),
                                              std::to_string(one.wispds),
                                              std::to_string(one.killed),
                                              in_seconds(one.first_report),
                                              in_seconds(one.last_report),
                                              in_seconds(one.first_event),
                                              in_seconds({greatest(one.last_event)}),
                                              range(one.behind_agent, 1e-3, 1),
                                              range(one.reports, 1, 0),
                                              range(one.events, 1, 0),
                                              range(one.seconds_used, 1e-3, 1),
                                              range(one.memory, 1e6, 1),
                                              range(one.start_bytes, 1, 0),
                                              range(one.kill_bytes, 1, 0)};
        for (std::size_t row = 0; row < rows.size(); ++row) {
            rows[row].push_back(column[row]);
        }
    }
    return rows;
}

void write_data(const std::string &path, const std::vector<Figures> &all) {
    std::ofstream file(path);
    file << "# SPDX-License-Identifier: Apache-2.0\n# The line, how many agents, and its value\n";
    const auto lines = [&](const char *name, const std::function<double(const Figures &)> &value) {
        for (const Figures &one : all) {
            file << name << ' ' << one.agents << ' ' << value(one) << '\n';
        }
    };
    lines("detection", [](const Figures &one) { return median(one.first_report); });
    lines("all-reported", [](const Figures &one) { return greatest(one.last_event); });
    lines("behind-agent", [](const Figures &one) { return median(one.behind_agent); });
    lines("processor", [](const Figures &one) { return median(one.seconds_used); });
    lines("memory", [](const Figures &one) { return median(one.memory); });
    lines("start-bytes", [](const Figures &one) { return median(one.start_bytes); });
    lines("death-bytes", [](const Figures &one) { return median(one.kill_bytes); });
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string processor() {
    std::ifstream facts("/proc/cpuinfo");
    for (std::string line; std::getline(facts, line);) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown processor";
}

// What was measured before a failure is printed.
int run(const Options &options) {
    std::vector<Figures> all;
    bool failed = false;
    for (const int agents : options.agents) {
        std::cerr << agents << " agents ..." << std::endl;
        try {
            all.push_back(measure(agents, options));
        } catch (const std::exception &trouble) {
            std::cerr << "serf_scale: " << trouble.what() << '\n';
            failed = true;
        }
    }
    if (all.empty()) {
        return 1;
    }
    utsname system{};
    uname(&system);
    std::cout << "Profile " << options.profile << ", " << std::thread::hardware_concurrency() << " processors ("
              << processor() << ") for everything, Linux " << system.release
              << ". Medians over the wispds, with the least and the greatest in brackets.\n\n"
              << markdown(table(all));
    if (!options.data.empty()) {
        write_data(options.data, all);
    }
    return failed ? 1 : 0;
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app(
        "Measures clusters of Serf agents on this machine, of which a tenth is killed at once, and prints a "
        "table. Exits with 3\nwhen this machine cannot run them.");
    app.add_option("--agents", options.agents, "sizes of the clusters")
        ->delimiter(',')
        ->check(CLI::Range(4, 1000))
        ->capture_default_str();
    app.add_option("--wispds", options.wispds, "number of wispds, at most half the agents")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    app.add_option("--profile", options.profile, "Serf's profile: lan or local")
        ->check(CLI::IsMember({"lan", "local"}))
        ->capture_default_str();
    app.add_option("--data", options.data, "write the data of docs/pictures/scaling.plot to this file");
    CLI11_PARSE(app, argc, argv);
    try {
        if (const std::optional<std::string> reason = why_no_agents()) {
            std::cerr << "serf_scale: no agents on this machine: " << *reason << '\n';
            return NOT_POSSIBLE;
        }
        return run(options);
    } catch (const std::exception &trouble) {
        std::cerr << "serf_scale: " << trouble.what() << '\n';
        return 1;
    }
}
