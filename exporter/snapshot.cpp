// SPDX-License-Identifier: Apache-2.0
#include "exporter/snapshot.h"

#include <algorithm>
#include <utility>

#include "common/printable.h"

namespace exporter {
namespace {

constexpr std::array<const char *, EVENT_KINDS> EVENT_WORDS{
    "death",      "join",          "new-group",          "ffdc",      "site-split",
    "site-merge", "configuration", "different-instance", "heartbeat", "other"};

std::uint32_t number_of(const Adapter &adapter) {
    return adapter.number;
}

int number_of(int node) {
    return node;
}

// Returns the place of the number in the ascending rows; rows.size() if it is absent.
template <typename Row, typename Number> std::size_t place_of(const std::vector<Row> &rows, Number number) {
    const auto found = std::lower_bound(rows.begin(), rows.end(), number,
                                        [](const Row &row, Number wanted) { return number_of(row) < wanted; });
    const bool present = found != rows.end() && number_of(*found) == number;
    return present ? static_cast<std::size_t>(found - rows.begin()) : rows.size();
}

template <typename Row>
std::vector<State> carried(const std::vector<Row> &from, const std::vector<State> &states,
                           const std::vector<Row> &to, State of_new) {
    std::vector<State> result;
    result.reserve(to.size());
    for (const Row &row : to) {
        const std::size_t place = place_of(from, number_of(row));
        result.push_back(place < states.size() ? states[place] : of_new);
    }
    return result;
}

template <typename Row, typename Number>
void set_states(const std::vector<Row> &rows, std::vector<State> &states, const std::vector<Number> &members,
                State state) {
    for (const Number member : members) {
        const std::size_t place = place_of(rows, member);
        if (place < states.size()) {
            states[place] = state;
        }
    }
}

} // namespace

std::string event_word(Event_Kind kind) {
    return EVENT_WORDS[static_cast<std::size_t>(kind)];
}

bool is_up(const Snapshot &snapshot, Steady_Time now, std::chrono::milliseconds stale) {
    return snapshot.connected && snapshot.nodes_reported && snapshot.adapters_reported &&
           snapshot.last_contact && now - *snapshot.last_contact <= stale;
}

void set_cluster(Snapshot &snapshot, std::shared_ptr<const Cluster> cluster) {
    const Cluster &old = *snapshot.cluster;
    snapshot.nodes = carried(old.nodes, snapshot.nodes, cluster->nodes,
                             snapshot.nodes_reported ? State::down : State::unknown);
    snapshot.adapters = carried(old.adapters, snapshot.adapters, cluster->adapters,
                                snapshot.adapters_reported ? State::down : State::unknown);
    snapshot.cluster = std::move(cluster);
}

void set_nodes(Snapshot &snapshot, const std::vector<int> &members, State state) {
    set_states(snapshot.cluster->nodes, snapshot.nodes, members, state);
}

void set_adapters(Snapshot &snapshot, const std::vector<std::uint32_t> &members, State state) {
    set_states(snapshot.cluster->adapters, snapshot.adapters, members, state);
}

void remember(Snapshot &snapshot, Past_Event event) {
    std::vector<std::shared_ptr<const Past_Event>> &history = snapshot.history;
    event.number = history.empty() ? 1 : history.back()->number + 1;
    if (history.size() >= HISTORY_LONGEST) {
        history.erase(history.begin());
    }
    history.push_back(std::make_shared<const Past_Event>(std::move(event)));
}

std::string node_name(const Snapshot &snapshot, int node) {
    if (!snapshot.about) {
        return "";
    }
    const auto found = snapshot.about->nodes.find(node);
    return found == snapshot.about->nodes.end() ? "" : terminal::printable(found->second);
}

std::string adapter_name(const Snapshot &snapshot, const Adapter &adapter) {
    const std::string node = node_name(snapshot, adapter.node);
    const std::vector<Network> &networks = snapshot.cluster->networks;
    const auto network = std::find_if(networks.begin(), networks.end(), [&adapter](const Network &candidate) {
        return candidate.number == adapter.network;
    });
    return node.empty() || network == networks.end() ? "" : node + "/" + network->name;
}

const Adapter *find_adapter(const Cluster &cluster, std::uint32_t number) {
    const std::size_t place = place_of(cluster.adapters, number);
    return place < cluster.adapters.size() ? &cluster.adapters[place] : nullptr;
}

bool Sequence_Check::follows(std::uint32_t number) {
    const bool next = number == last_ + 1;
    last_ = number;
    return next;
}

} // namespace exporter
