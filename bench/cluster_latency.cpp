// SPDX-License-Identifier: Apache-2.0
// Measures the latency that wispd and the library add to Corosync's own: real engines on several hosts of this
// machine.
//
// An observer beside each wispd records when the engine's callback ran. The client beside it records when the
// event arrived.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <map>
#include <optional>
#include <poll.h>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "bench/comparison/judgement.h"
#include "bench/comparison/report.h"
#include "tests/cluster/engine_cluster.h"

namespace {

using namespace hb_test;

constexpr int NOT_POSSIBLE = 3;
constexpr double CALLBACK_TO_EVENT = 0.0004;      // the median
constexpr double MOST_CALLBACKS_TO_EVENT = 0.003; // the 95th percentile
constexpr double ADDED_TO_A_DEATH = 0.100;        // the longest
constexpr double IDLE_SHARE = 0.001;              // of one processor

struct Options {
    int hosts = 3;
    int rounds = 25;
    int kills = 5;
    int idle_seconds = 20;
    int runs = 1;
    bool markdown = false;
};

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double at_share(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0
                          : values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

// The figures of all runs. Those with a limit are judged as the rows of the other benchmarks.
class Results {
  public:
    // Prints the figure. Without any measurement a limit is not met.
    void add(const std::string &what, const std::vector<double> &samples, double share,
             std::optional<double> limit, const char *unit, double scale) {
        const double measured = at_share(samples, share) * scale;
        std::printf("  %-62s %9.3f %-2s", what.c_str(), measured, unit);
        if (limit) {
            comparison::Figure figure;
            figure.ratio = measured;
            figure.rounds = static_cast<int>(samples.size());
            figure.fault = samples.empty() ? "nothing happened" : "";
            const comparison::Verdict verdict = keep(what, unit, *limit * scale, figure);
            std::printf("  limit %g: %s", *limit * scale,
                        verdict == comparison::Verdict::met ? "met" : "MISSED");
        }
        std::printf("\n");
        std::fflush(stdout);
    }

    // Returns the exit status.
    int conclude(bool markdown) const {
        std::vector<comparison::Verdict> verdicts;
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            verdicts.push_back(judge(rows_[i], figures_[i]));
        }
        if (markdown) {
            std::printf("\n%s", markdown_table(rows_, figures_).c_str());
        }
        return exit_status(verdicts);
    }

  private:
    comparison::Verdict keep(const std::string &what, const char *unit, double limit,
                             const comparison::Figure &figure) {
        const auto found = std::find_if(rows_.begin(), rows_.end(),
                                        [&](const comparison::Row &row) { return row.work == what; });
        const auto place = static_cast<std::size_t>(found - rows_.begin());
        if (found == rows_.end()) {
            comparison::Row row;
            row.work = what;
            row.beside = std::string("1 ") + unit;
            row.why = "an absolute limit";
            row.ratio = comparison::Ratio::cost;
            row.cost = unit[0] == '%' ? comparison::Cost::processor_time : comparison::Cost::wall_time;
            row.target = limit;
            rows_.push_back(row);
            figures_.emplace_back();
        }
        figures_[place].push_back(figure);
        return judge(rows_[place], figure);
    }

    std::vector<comparison::Row> rows_;
    std::vector<std::vector<comparison::Figure>> figures_; // by row and run
};

void need(bool holds, Engine_Cluster &cluster, const char *what) {
    if (!holds) {
        throw std::runtime_error(std::string(what) + ":\n" + cluster.account());
    }
}

// Waits until the cluster reports no further changes by itself.
void let_settle(Engine_Cluster &cluster) {
    need(cluster.wait_all_up(), cluster, "not everybody is up");
    double last_news = now();
    need(wait_until([&] {
             if (cluster.collect()) {
                 last_news = now();
             }
             return now() - last_news > 0.5;
         }),
         cluster, "the cluster does not settle");
}

void measure_idle(Engine_Cluster &cluster, int seconds, Results &results) {
    const int hosts = cluster.hosts().count();
    std::vector<double> before;
    for (int host = 1; host <= hosts; ++host) {
        before.push_back(cluster.wispd(host).seconds_used());
    }
    const double began = now();
    // Nothing queries wispd meanwhile: the cost of answering queries must not count.
    poll(nullptr, 0, seconds * 1000);
    const double length = now() - began;
    std::vector<double> shares;
    for (int host = 1; host <= hosts; ++host) {
        const double used = cluster.wispd(host).seconds_used() - before[static_cast<std::size_t>(host) - 1];
        shares.push_back(used / length);
    }
    results.add("processor time of an idle wispd, the busiest", shares, 1, IDLE_SHARE, "%", 100);
}

// The last host leaves and returns, and the others receive the events. Deaths and joins alternate.
void measure_callbacks(Engine_Cluster &cluster, int rounds, Results &results) {
    const int last = cluster.hosts().count();
    for (int round = 0; round < rounds; ++round) {
        cluster.hosts().stop(last);
        need(wait_until([&] {
                 cluster.collect();
                 return cluster.client(1).table().nodes().count(static_cast<unsigned>(last)) == 0;
             }),
             cluster, "a death is not told");
        cluster.hosts().start(last);
        let_settle(cluster);
    }
    std::map<std::string, std::vector<double>> delays;
    for (int host = 1; host < last; ++host) {
        const Explanation explanation =
            explain(cluster.client(host).told(), cluster.observer(host).witness(), cluster.model_patience());
        for (const auto &[kind, some] : explanation.delays) {
            delays[kind].insert(delays[kind].end(), some.begin(), some.end());
        }
    }
    std::vector<double> all = delays["node death"];
    all.insert(all.end(), delays["node join"].begin(), delays["node join"].end());
    std::printf("  %zu node deaths, %zu node joins, at %d clients\n", delays["node death"].size(),
                delays["node join"].size(), last - 1);
    results.add("engine's callback to event, median", all, 0.5, CALLBACK_TO_EVENT, "ms", 1e3);
    results.add("  of deaths", delays["node death"], 0.5, {}, "ms", 1e3);
    results.add("  of joins", delays["node join"], 0.5, {}, "ms", 1e3);
    results.add("engine's callback to event, 95th percentile", all, 0.95, MOST_CALLBACKS_TO_EVENT, "ms", 1e3);
    results.add("observer's link change to adapter death, median", delays["adapter death"], 0.5, {}, "ms", 1e3);
}

// After SIGKILL the links go down first. The node follows after about two of the engine's token times.
void measure_kills(Engine_Cluster &cluster, int kills, Results &results) {
    const auto last = static_cast<unsigned>(cluster.hosts().count());
    Client_On_Host &client = cluster.client(1);
    std::vector<double> engine;
    std::vector<double> node;
    std::vector<double> adapter;
    std::vector<double> added;
    for (int kill = 0; kill < kills; ++kill) {
        const std::size_t mark = client.mark();
        const std::size_t callbacks = cluster.observer(1).witness().callbacks().size();
        const double killed = now();
        cluster.hosts().kill(static_cast<int>(last));
        const auto death = client.wait_told(
            mark, [&](const Told &told) { return told.is(Told::Kind::death, true) && told.tells_of(last); });
        const auto adapters =
            client.wait_told(mark, [&](const Told &told) { return told.is(Told::Kind::death, false); });
        const bool seen = cluster.observer(1).wait_for(
            [&] { return cluster.observer(1).witness().callbacks().size() > callbacks; });
        need(death && adapters && seen, cluster, "a death is not told");
        const double callback = cluster.observer(1).witness().callbacks()[callbacks];
        engine.push_back(callback - killed);
        node.push_back(death->at - killed);
        adapter.push_back(adapters->at - killed);
        added.push_back(death->at - callback);
        cluster.hosts().start(static_cast<int>(last));
        let_settle(cluster);
    }
    results.add("SIGKILL of a neighbour to its first adapter's death, median", adapter, 0.5, {}, "ms", 1e3);
    results.add("SIGKILL of a neighbour to the engine's callback, median", engine, 0.5, {}, "ms", 1e3);
    results.add("SIGKILL of a neighbour to its node's death, median", node, 0.5, {}, "ms", 1e3);
    results.add("a node's death after the engine's callback, longest", added, 1, ADDED_TO_A_DEATH, "ms", 1e3);
}

// Each run has a cluster of its own, so that its figures do not depend on those of another run.
void measure_once(const Options &options, Results &results) {
    Engine_Cluster cluster(options.hosts, 2);
    need(cluster.start(), cluster, "the cluster does not start");
    let_settle(cluster);
    std::printf("%d hosts with 2 links, token 1000 ms\n", options.hosts);
    measure_callbacks(cluster, options.rounds, results);
    measure_kills(cluster, options.kills, results);
    let_settle(cluster);
    measure_idle(cluster, options.idle_seconds, results);
}

int measure(const Options &options) {
    Results results;
    for (int run = 0; run < options.runs; ++run) {
        measure_once(options, results);
    }
    return results.conclude(options.markdown);
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app(
        "Measures what wispd and the library add to a Corosync engine, on several hosts of this machine. Exits "
        "with 1 when a limit is\nmissed, with 3 when this machine does not permit such hosts.");
    app.add_option("--hosts", options.hosts, "How many hosts")->check(CLI::Range(2, 16))->capture_default_str();
    app.add_option("--rounds", options.rounds, "How often one leaves and comes back")->capture_default_str();
    app.add_option("--kills", options.kills, "How often one is killed")->capture_default_str();
    app.add_option("--idle", options.idle_seconds, "For how many seconds nothing happens")
        ->capture_default_str();
    app.add_option("--runs", options.runs, "Measure everything this many times; one miss in five is permitted")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    app.add_flag("--markdown", options.markdown, "Print the limits as the table of docs/benchmarks.md as well");
    CLI11_PARSE(app, argc, argv);
    if (const std::optional<std::string> reason = why_no_hosts()) {
        std::cerr << "hb_cluster_bench: no cluster on this machine: " << *reason << '\n';
        return NOT_POSSIBLE;
    }
    try {
        return measure(options);
    } catch (const std::exception &trouble) {
        std::cerr << "hb_cluster_bench: " << trouble.what() << '\n';
        return 1;
    }
}
