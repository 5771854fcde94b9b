// SPDX-License-Identifier: Apache-2.0
#include "exporter/snapshot.h"

#include <algorithm>

namespace exporter {
namespace {

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

bool Sequence_Check::follows(std::uint32_t number) {
    const bool next = number == last_ + 1;
    last_ = number;
    return next;
}

} // namespace exporter
