// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/serf_storm.h"

#include <algorithm>
#include <numeric>
#include <poll.h>
#include <sstream>

namespace hb_test {
namespace {

// An agent gathers events for three seconds at most before it reports them.
constexpr double QUIET_WHEN_SETTLED = 3.5;
constexpr double LONGEST_HASTE = 3;
constexpr double SHARE_OF_HASTE = 0.6;
constexpr int MILLISECONDS_BETWEEN_LOOKS = 10;

std::string agent_text(int node, int network) {
    return "node " + std::to_string(node) + " network " + std::to_string(network);
}

} // namespace

Serf_Storm::Serf_Storm(Serf_Cluster &cluster, unsigned seed, std::ostream *progress)
    : Random_Faults(seed, progress), cluster_(cluster), can_part_(!why_no_partitions()) {
    faults_ = all_faults();
}

// Faults and repairs have about the same weight. At least half of the agents stay, so that a network has something to
// report.
std::vector<Random_Faults::Fault> Serf_Storm::all_faults() {
    const std::size_t half = static_cast<std::size_t>(cluster_.plan().nodes) *
                             static_cast<std::size_t>(cluster_.plan().networks) / 2;
    const auto enough = [this, half] { return agents(State::running, Of::all).size() > half; };
    const auto any = [this](State state, Of of) {
        return [this, state, of] { return !agents(state, of).empty(); };
    };
    const auto any_followed = [this] { return !followed().empty(); };
    return {
        {"agent killed", enough, [this] { return end_agent(true); }, 14},
        {"agent left in good order", enough, [this] { return end_agent(false); }, 8},
        {"agent started", any(State::ended, Of::all), [this] { return start_agent(); }, 24},
        {"agent stopped", [this, enough] { return enough() && !agents(State::running, Of::others).empty(); },
         [this] { return stop_agent(); }, 8},
        {"agent continued", any(State::stopped, Of::others), [this] { return proceed_agent(); }, 10},
        {"agent killed and started at once", any(State::running, Of::others),
         [this] { return bounce_agent(Of::others); }, 6},
        {"agent of a wispd killed and started at once", any(State::running, Of::watched),
         [this] { return bounce_agent(Of::watched); }, 6},
        {"network parted", [this] { return can_part_ && !networks(false).empty(); },
         [this] { return part_network(); }, 6},
        {"network mended", [this] { return !networks(true).empty(); }, [this] { return mend_network(); }, 8},
        {"wispd restarted", any_followed, [this] { return restart_wispd(false); }, 5},
        {"wispd killed and started", any_followed, [this] { return restart_wispd(true); }, 5},
    };
}

Storm_Outcome Serf_Storm::run(unsigned faults) {
    began_ = now();
    for (unsigned i = 0; i < faults && outcome_.good(); ++i) {
        make_one();
        pause();
    }
    mend_all();
    compare();
    outcome_.seconds = now() - began_;
    return outcome_;
}

// ---- Between faults ----

void Serf_Storm::pause() {
    if (between(0, 1) < SHARE_OF_HASTE) {
        ++outcome_.hasty;
        collect_for(between(0, LONGEST_HASTE));
        return;
    }
    ++outcome_.settled;
    if (!settle()) {
        complain("the clients do not agree with their agents:\n" + cluster_.account());
    }
}

void Serf_Storm::collect_for(double seconds) {
    for (const double until = now() + seconds; now() < until;) {
        cluster_.collect();
        poll(nullptr, 0, MILLISECONDS_BETWEEN_LOOKS);
    }
}

// Waits until no event has arrived for a while and every client agrees with its agents.
bool Serf_Storm::settle() {
    double last_news = now();
    const bool settled = wait_until([&] {
        poll(nullptr, 0, MILLISECONDS_BETWEEN_LOOKS);
        if (cluster_.collect()) {
            last_news = now();
        }
        return now() - last_news > QUIET_WHEN_SETTLED &&
               cluster_.wait_agreement(Deadline(std::chrono::milliseconds(0)));
    });
    outcome_.agreements += settled ? 1 : 0;
    return settled;
}

void Serf_Storm::mend_all() {
    for (const int network : networks(true)) {
        cluster_.agents().mend(network);
    }
    for (const auto &[node, network] : agents(State::stopped, Of::all)) {
        cluster_.agents().proceed(node, network);
    }
    for (const auto &[node, network] : agents(State::ended, Of::all)) {
        cluster_.agents().start(node, network);
    }
    if (!cluster_.agents().wait_all_alive() || !cluster_.wait_all_up() || !settle()) {
        complain("after all was repaired not every node is up:\n" + cluster_.account());
    }
}

// ---- The result ----

void Serf_Storm::compare() {
    for (const std::string &complaint : cluster_.complaints()) {
        complain(complaint);
    }
    for (const int node : cluster_.plan().watched) {
        Client_On_Host &client = cluster_.client(node);
        std::set<unsigned> adapters;
        for (int network = 0; network < cluster_.plan().networks; ++network) {
            for (const int member : cluster_.agents().alive(node, network).value_or(std::set<int>())) {
                adapters.insert(adapter_of(static_cast<unsigned>(member), static_cast<unsigned>(network)));
            }
        }
        if (adapters != client.table().adapters()) {
            complain("the agents of node " + std::to_string(node) + " list the adapters " + text_of(adapters) +
                     ", its client has " + text_of(client.table().adapters()));
        }
        std::string table = "nodes " + text_of(client.table().nodes()) + " adapters";
        for (const auto &[adapter, incarnation] : client.table().incarnations()) {
            table += " " + std::to_string(adapter) + "@" + std::to_string(incarnation);
        }
        if (const std::string own = client.own_table(); own != table) {
            complain("node " + std::to_string(node) + ": the client's own table is " + own + ", not " + table);
        }
        count(client.told(), explain(client.told(), cluster_.witness(node), cluster_.model_patience()));
    }
}

// ---- Possible targets ----

Serf_Storm::State Serf_Storm::state_of(int node, int network) {
    if (!cluster_.agents().running(node, network)) {
        return State::ended;
    }
    return cluster_.agents().stopped(node, network) ? State::stopped : State::running;
}

std::vector<Serf_Storm::Agent> Serf_Storm::agents(State state, Of of) {
    std::vector<Agent> found;
    for (int node = 1; node <= cluster_.plan().nodes; ++node) {
        const bool watched = cluster_.plan().watched.count(node) != 0;
        for (int network = 0; network < cluster_.plan().networks; ++network) {
            if ((of == Of::all || watched == (of == Of::watched)) && state_of(node, network) == state) {
                found.push_back({node, network});
            }
        }
    }
    return found;
}

// wispd is started only where its agents answer.
std::vector<int> Serf_Storm::followed() {
    std::vector<int> nodes;
    for (const int node : cluster_.plan().watched) {
        if (cluster_.has_agents(node) && cluster_.witness(node).engine_runs()) {
            nodes.push_back(node);
        }
    }
    return nodes;
}

std::vector<int> Serf_Storm::networks(bool parted) {
    std::vector<int> found;
    for (int network = 0; network < cluster_.plan().networks; ++network) {
        if (cluster_.agents().parted(network) == parted) {
            found.push_back(network);
        }
    }
    return found;
}

// ---- The faults ----

std::string Serf_Storm::end_agent(bool kill) {
    const Agent agent = one_of(agents(State::running, Of::all));
    kill ? cluster_.agents().kill(agent.node, agent.network)
         : cluster_.agents().leave(agent.node, agent.network);
    return agent_text(agent.node, agent.network);
}

std::string Serf_Storm::start_agent() {
    const Agent agent = one_of(agents(State::ended, Of::all));
    cluster_.agents().start(agent.node, agent.network);
    return agent_text(agent.node, agent.network);
}

std::string Serf_Storm::bounce_agent(Of of) {
    const Agent agent = one_of(agents(State::running, of));
    cluster_.agents().kill(agent.node, agent.network);
    cluster_.agents().start(agent.node, agent.network);
    return agent_text(agent.node, agent.network);
}

// An agent that wispd follows is not stopped: how long wispd waits for its answer is not the agent's history.
std::string Serf_Storm::stop_agent() {
    const Agent agent = one_of(agents(State::running, Of::others));
    cluster_.agents().stop(agent.node, agent.network);
    return agent_text(agent.node, agent.network);
}

std::string Serf_Storm::proceed_agent() {
    const Agent agent = one_of(agents(State::stopped, Of::others));
    cluster_.agents().proceed(agent.node, agent.network);
    return agent_text(agent.node, agent.network);
}

std::string Serf_Storm::part_network() {
    const int network = one_of(networks(false));
    const int nodes = cluster_.plan().nodes;
    const int size = std::uniform_int_distribution<int>(1, nodes - 1)(random_);
    std::vector<int> all(static_cast<std::size_t>(nodes));
    std::iota(all.begin(), all.end(), 1);
    std::shuffle(all.begin(), all.end(), random_);
    const std::set<int> group(all.begin(), all.begin() + size);
    cluster_.agents().part(network, group);
    return "network " + std::to_string(network) + ": " + text_of(unsigned_of(group)) + " and the others";
}

std::string Serf_Storm::mend_network() {
    const int network = one_of(networks(true));
    cluster_.agents().mend(network);
    return "network " + std::to_string(network);
}

std::string Serf_Storm::restart_wispd(bool kill) {
    const int node = one_of(followed());
    Wispd_On_Host &wispd = cluster_.wispd(node);
    if (kill) {
        wispd.kill();
    } else if (const testing::AssertionResult stopped = wispd.stop(); !stopped) {
        complain(stopped.message());
    }
    if (const testing::AssertionResult started = wispd.start(); !started) {
        complain(started.message());
    }
    return "node " + std::to_string(node);
}

// ---- The report ----

std::string serf_storm_report(const Storm_Outcome &outcome, const Serf_Cluster &cluster, unsigned seed) {
    const Serf_Cluster_Plan &plan = cluster.plan();
    const unsigned faults = std::accumulate(outcome.faults.begin(), outcome.faults.end(), 0U,
                                            [](unsigned sum, const auto &kind) { return sum + kind.second; });
    std::ostringstream text;
    text << "# " << faults << " random faults with Serf\n\n"
         << "The results of `serf_storm --faults " << faults << " --seed " << seed << "`. It ran " << plan.nodes
         << " nodes with an agent on each of " << plan.networks << " networks.\n"
         << plan.watched.size()
         << " nodes had a wispd, a client, and an observer of each agent that uses only its RPC socket.\n\n"
         << "| | |\n|---|---|\n| seed | " << seed << " |\n| date | " << date_text() << " |\n| machine | "
         << machine_text() << " |\n| length | " << static_cast<int>(outcome.seconds) << " s |\n| verdict | "
         << (outcome.good() ? "**every event explained, nothing lost, nothing doubled**"
                            : "**" + std::to_string(outcome.complaints.size()) + " complaints**")
         << " |\n\nAfter " << outcome.hasty << " faults the next one followed within 3 s. After "
         << outcome.settled << " faults the test waited until the clients\nagreed with their agents.\n\n";
    write_counts(text, "fault", outcome.faults);
    text << "Events that all clients received, on " << outcome.connections << " connections:\n\n";
    write_counts(text, "event", outcome.events);
    text << outcome.explained
         << " changes have their reason in the agents' reports, and no change is unexplained. "
         << outcome.passed_over << " times wispd skipped a state\nthat it is permitted to skip.\n\n"
         << "Times from the observer to the client, in milliseconds:\n\n";
    write_delays(text, outcome.delays);
    for (const std::string &complaint : outcome.complaints) {
        text << "\n    " << complaint;
    }
    return text.str();
}

} // namespace hb_test
