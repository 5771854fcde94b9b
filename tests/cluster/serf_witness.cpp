// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/serf_witness.h"

#include <algorithm>
#include <sstream>

#include "tests/cluster/told.h"

namespace hb_test {
namespace {

// A node number that no member has: the witness of one network knows no local node.
constexpr unsigned NOBODY = 2049;

bool is_alive(const std::string &status) {
    return status == "alive" || status == "leaving";
}

struct Reported {
    unsigned node;
    bool alive;
};

// "3=127.10.0.3,alive".
Reported reported(const std::string &word) {
    return {static_cast<unsigned>(std::stoul(word)), is_alive(word.substr(word.rfind(',') + 1))};
}

std::string numbers(const std::set<unsigned> &nodes) {
    std::string text;
    for (const unsigned node : nodes) {
        text += " " + std::to_string(node);
    }
    return text;
}

// Up while one of them is up. A daemon that has not received yet that one came up reports both down, and then up again.
Turns either(const Turns &one, const Turns &other) {
    Turns all;
    bool one_up = false;
    bool other_up = false;
    double one_known = 0;
    double other_known = 0;
    auto first = one.begin();
    auto second = other.begin();
    while (first != one.end() || second != other.end()) {
        const bool take_first = second == other.end() || (first != one.end() && first->at <= second->at);
        const Turn &turn = take_first ? *first++ : *second++;
        const bool were = one_up || other_up;
        (take_first ? one_up : other_up) = turn.up;
        (take_first ? one_known : other_known) = turn.latest;
        const double rest_known = take_first ? other_known : one_known;
        if ((one_up || other_up) != were) {
            all.push_back(turn);
        } else if (!turn.up && were && rest_known > turn.at) {
            all.push_back({turn.at, false, turn.latest, true});
            all.push_back({turn.at, true, std::max(turn.latest, rest_known), true});
        }
    }
    return all;
}

} // namespace

Serf_Witness::Serf_Witness(unsigned local_node, Told_Configuration configuration, unsigned networks)
    : local_node_(local_node), configuration_(std::move(configuration)), networks_(networks) {}

// The lines are translated into those of an engine_observer.
void Serf_Witness::take(unsigned network, const std::string &line) {
    Network &one = networks_.at(network);
    std::istringstream words(line);
    std::string at;
    std::string kind;
    words >> at >> kind;
    if (kind == "gone") {
        one.witness.take(at + " gone");
        return;
    }
    std::set<unsigned> dead;
    if (kind == "agent") {
        one.alive.clear();
        one.witness.take(at + " engine " + std::to_string(NOBODY));
        std::string nodes = at + " configuration " + std::to_string(NOBODY) + ",nobody";
        for (const unsigned node : configuration_.nodes) {
            nodes += " " + std::to_string(node) + ",n" + std::to_string(node);
        }
        one.witness.take(nodes);
    }
    for (std::string word; words >> word;) {
        const Reported member = reported(word);
        if (member.alive && kind != "member-reap") {
            one.alive.insert(member.node);
        } else {
            one.alive.erase(member.node);
            dead.insert(member.node);
        }
    }
    one.witness.take(at + " members" + numbers(one.alive) + " joined left" + numbers(dead));
    if (kind == "agent") {
        one.witness.take(at + " ready");
    }
}

bool Serf_Witness::engine_runs() const {
    return std::all_of(networks_.begin(), networks_.end(),
                       [](const Network &network) { return network.witness.engine_runs(); });
}

std::set<unsigned> Serf_Witness::nodes() const {
    std::set<unsigned> up{local_node_};
    for (const Network &network : networks_) {
        if (network.witness.engine_runs()) {
            up.insert(network.alive.begin(), network.alive.end());
        }
    }
    return up;
}

std::set<unsigned> Serf_Witness::adapters() const {
    std::set<unsigned> up;
    for (std::size_t number = 0; number < networks_.size(); ++number) {
        for (const unsigned node : networks_[number].alive) {
            if (networks_[number].witness.engine_runs()) {
                up.insert(adapter_of(node, static_cast<unsigned>(number)));
            }
        }
    }
    return up;
}

std::set<unsigned> Serf_Witness::all_adapters() const {
    std::set<unsigned> all;
    for (const auto &[adapter, address] : configuration_.addresses) {
        all.insert(adapter);
    }
    return all;
}

// An agent that leaves reports its own leave just as it disconnects, so only some of its clients receive that report.
Turns Serf_Witness::turns_of_adapter(unsigned adapter, double since, const Patience &patience) const {
    Patience adapted = patience;
    if (node_of_adapter(adapter) == local_node_) {
        adapted.before_grace = patience.grace;
    }
    return networks_.at(adapter % ADAPTERS_PER_NODE)
        .witness.turns_of_node(node_of_adapter(adapter), since, adapted);
}

Turns Serf_Witness::turns_of_node(unsigned node, double since, const Patience &patience) const {
    if (node == local_node_) {
        return {{0, true, 0, false}};
    }
    Turns turns;
    for (const Network &network : networks_) {
        turns = either(turns, network.witness.turns_of_node(node, since, patience));
    }
    return turns;
}

std::vector<Told_Configuration> Serf_Witness::configurations(double, const Patience &) const {
    return {configuration_};
}

std::vector<double> Serf_Witness::ends() const {
    std::vector<double> all;
    for (const Network &network : networks_) {
        const std::vector<double> ends = network.witness.ends();
        all.insert(all.end(), ends.begin(), ends.end());
    }
    std::sort(all.begin(), all.end());
    return all;
}

} // namespace hb_test
