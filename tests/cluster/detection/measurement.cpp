// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/detection/measurement.h"

#include <algorithm>
#include <ctime>
#include <poll.h>
#include <random>
#include <sstream>
#include <stdexcept>

#include "tests/cluster/host_programs.h"

namespace hb_test {
namespace {

using std::chrono::milliseconds;

constexpr int WATCHING = 1;
constexpr unsigned LINKS = 2;
// For about ten seconds after a link comes up, the engine gives it more time than its timeout.
constexpr milliseconds UNTIL_A_LINK_IS_OLD{12000};

// The clock of the client's and the observer's lines.
double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// "TIME members 1 2 joined left 3"
bool tells_left(const std::string &line, unsigned node) {
    std::istringstream words(line.substr(std::min(line.size(), line.find(" left"))));
    for (std::string word; words >> word;) {
        if (word == std::to_string(node)) {
            return true;
        }
    }
    return false;
}

class Measurement {
  public:
    explicit Measurement(const Watched_Cluster &cluster);

    int failing_hosts() const { return hosts_.count() - 1; }
    Figures links();
    Figures nodes(int host);
    // Repairs the fault and waits until everything is up again.
    void mend();

  private:
    using Kind = Told::Kind;

    void settle();
    void wait_a_random_while();
    void begin();
    double until_node(Kind kind, int host);
    double until_adapter(Kind kind, int host, unsigned link);
    double until_adapters(Kind kind, int host);
    double until_engine_tells_left(int host);
    double until_told(const std::string &what, const std::function<bool(const Told &)> &wanted);
    void one_link(int host, int link, Figures &figures);
    double time_cut(int host, int link);
    double time_restored(int host, int link);
    void killed(int host, Figures &figures);
    void started(int host, Figures &figures);
    void stopped(int host, Figures &figures);
    void cut_off(int host, Figures &figures);
    Deadline deadline() const { return Deadline(milliseconds(10 * token_ + 15000)); }

    int token_;
    std::mt19937 random_{std::random_device{}()};
    Hosts hosts_;
    Wispd_On_Host wispd_;
    std::optional<Client_On_Host> client_;
    std::optional<Observer_On_Host> observer_;
    // The time and place of the fault.
    double begun_ = 0;
    std::size_t client_mark_ = 0;
    std::size_t observer_mark_ = 0;
};

Measurement::Measurement(const Watched_Cluster &cluster)
    : token_(cluster.engine.token), hosts_(cluster.hosts, static_cast<int>(LINKS), cluster.engine),
      wispd_(hosts_, WATCHING) {
    hosts_.start_all();
    if (!hosts_.wait_quorum()) {
        throw std::runtime_error("the engines found no quorum: " + hosts_.account());
    }
    if (const testing::AssertionResult started = wispd_.start(); !started) {
        throw std::runtime_error(started.message());
    }
    client_.emplace(hosts_, WATCHING);
    observer_.emplace(hosts_, WATCHING);
}

// Events of one fault must not arrive after the next fault.
void Measurement::settle() {
    std::set<unsigned> nodes;
    std::set<unsigned> adapters;
    for (int host = 1; host <= hosts_.count(); ++host) {
        const unsigned node = hosts_.node_of(host).id;
        nodes.insert(node);
        for (unsigned link = 0; link < LINKS; ++link) {
            adapters.insert(adapter_of(node, link));
        }
    }
    if (!hosts_.wait_quorum(deadline()) || !client_->wait_up(nodes, adapters, deadline())) {
        throw std::runtime_error("the cluster does not become whole: " + hosts_.account() + client_->account());
    }
    poll(nullptr, 0, 1000);
    wait_a_random_while();
}

// Faults happen at random times relative to the engine's own periods.
void Measurement::wait_a_random_while() {
    poll(nullptr, 0, std::uniform_int_distribution<>(0, token_)(random_));
}

// ---- From the fault to the word ----

void Measurement::begin() {
    client_mark_ = client_->mark();
    observer_->collect();
    observer_mark_ = observer_->lines().size();
    begun_ = now();
}

double Measurement::until_told(const std::string &what, const std::function<bool(const Told &)> &wanted) {
    const std::optional<Told> told = client_->wait_told(client_mark_, wanted, deadline());
    if (!told) {
        throw std::runtime_error("the client is not told of " + what);
    }
    return told->at - begun_;
}

double Measurement::until_node(Kind kind, int host) {
    const unsigned node = hosts_.node_of(host).id;
    return until_told("node " + std::to_string(node),
                      [&](const Told &told) { return told.is(kind, true) && told.tells_of(node); });
}

double Measurement::until_adapter(Kind kind, int host, unsigned link) {
    const unsigned adapter = adapter_of(hosts_.node_of(host).id, link);
    return until_told("adapter " + std::to_string(adapter),
                      [&](const Told &told) { return told.is(kind, false) && told.tells_of(adapter); });
}

double Measurement::until_adapters(Kind kind, int host) {
    double latest = 0;
    for (unsigned link = 0; link < LINKS; ++link) {
        latest = std::max(latest, until_adapter(kind, host, link));
    }
    return latest;
}

double Measurement::until_engine_tells_left(int host) {
    const unsigned node = hosts_.node_of(host).id;
    std::string found;
    const bool told = observer_->wait_for(
        [&] {
            const auto &lines = observer_->lines();
            const auto line =
                std::find_if(lines.begin() + static_cast<std::ptrdiff_t>(observer_mark_), lines.end(),
                             [&](const std::string &each) { return tells_left(each, node); });
            found = line == lines.end() ? "" : *line;
            return !found.empty();
        },
        deadline());
    if (!told) {
        throw std::runtime_error("the engine does not tell that node " + std::to_string(node) + " left");
    }
    return std::stod(found) - begun_;
}

// ---- Links ----

Figures Measurement::links() {
    Figures figures;
    settle();
    poll(nullptr, 0, static_cast<int>(UNTIL_A_LINK_IS_OLD.count()));
    for (int host = WATCHING + 1; host <= hosts_.count(); ++host) {
        one_link(host, static_cast<int>(LINKS) - 1, figures);
    }
    return figures;
}

void Measurement::one_link(int host, int link, Figures &figures) {
    figures[Figure::link_cut].push_back(time_cut(host, link));
    wait_a_random_while();
    figures[Figure::link_restored].push_back(time_restored(host, link));
    wait_a_random_while();
    figures[Figure::young_link_cut].push_back(time_cut(host, link));
    wait_a_random_while();
    figures[Figure::link_restored].push_back(time_restored(host, link));
}

double Measurement::time_cut(int host, int link) {
    begin();
    hosts_.cut(host, link);
    return until_adapter(Kind::death, host, static_cast<unsigned>(link));
}

double Measurement::time_restored(int host, int link) {
    begin();
    hosts_.restore(host, link);
    return until_adapter(Kind::join, host, static_cast<unsigned>(link));
}

// ---- Nodes ----

Figures Measurement::nodes(int host) {
    Figures figures;
    settle();
    killed(host, figures);
    wait_a_random_while();
    started(host, figures);
    settle();
    stopped(host, figures);
    wait_a_random_while();
    started(host, figures);
    settle();
    cut_off(host, figures);
    return figures;
}

void Measurement::killed(int host, Figures &figures) {
    begin();
    hosts_.kill(host);
    const double left = until_engine_tells_left(host);
    const double died = until_node(Kind::death, host);
    figures[Figure::links_lost_by_kill].push_back(until_adapters(Kind::death, host));
    figures[Figure::left_by_kill].push_back(left);
    figures[Figure::node_death_by_kill].push_back(died);
    figures[Figure::from_engine_to_client].push_back(died - left);
}

void Measurement::started(int host, Figures &figures) {
    begin();
    hosts_.start(host);
    figures[Figure::node_join_by_start].push_back(until_node(Kind::join, host));
    figures[Figure::links_up_by_start].push_back(until_adapters(Kind::join, host));
}

void Measurement::stopped(int host, Figures &figures) {
    begin();
    hosts_.stop(host);
    figures[Figure::node_death_by_stop].push_back(until_node(Kind::death, host));
}

// Simulates a power failure: nothing of the host answers any more.
void Measurement::cut_off(int host, Figures &figures) {
    begin();
    for (int link = 0; link < hosts_.links(); ++link) {
        hosts_.cut(host, link);
    }
    figures[Figure::node_death_by_cut].push_back(until_node(Kind::death, host));
    mend();
}

void Measurement::mend() {
    for (int host = WATCHING + 1; host <= hosts_.count(); ++host) {
        for (int link = 0; link < hosts_.links(); ++link) {
            hosts_.restore(host, link);
        }
        if (!hosts_.running(host)) {
            hosts_.start(host);
        }
    }
}

void add(Figures &all, const Figures &more) {
    for (const auto &[figure, times] : more) {
        all[figure].insert(all[figure].end(), times.begin(), times.end());
    }
}

} // namespace

Measured measure(const Watched_Cluster &cluster, int runs, std::ostream &progress) {
    Measurement measurement(cluster);
    Measured measured;
    const std::string title = "token " + std::to_string(cluster.engine.token) + ": run ";
    for (int run = 0; run < runs; ++run) {
        progress << title << run + 1 << " of " << runs << std::endl;
        try {
            // Checking the links of every host once serves this many runs.
            if (run % measurement.failing_hosts() == 0) {
                add(measured.figures, measurement.links());
            }
            add(measured.figures, measurement.nodes(2 + run % measurement.failing_hosts()));
        } catch (const std::runtime_error &trouble) {
            ++measured.left_out;
            progress << title << run + 1 << " is left out: " << trouble.what() << std::endl;
            measurement.mend();
        }
    }
    return measured;
}

} // namespace hb_test
