// SPDX-License-Identifier: Apache-2.0
#include "exporter/page_json.h"

#include <utility>

#include <nlohmann/json.hpp>

#include "common/printable.h"

namespace exporter {
namespace {

using Json = nlohmann::ordered_json;

// Addresses and names come from outside: a byte that is not UTF-8 must not end the page.
std::string text_of(const Json &json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::int64_t milliseconds(Wall_Time time) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

Json contact_of(const Snapshot &snapshot, const Moment &now) {
    if (!snapshot.last_contact) {
        return nullptr;
    }
    const auto age =
        std::chrono::duration_cast<std::chrono::system_clock::duration>(now.steady - *snapshot.last_contact);
    return milliseconds(now.wall - age);
}

char letter(State state) {
    switch (state) {
    case State::up:
        return 'u';
    case State::down:
        return 'd';
    default:
        return '?';
    }
}

std::string letters(const std::vector<State> &states, bool are_known) {
    std::string text;
    text.reserve(states.size());
    for (const State state : states) {
        text += are_known ? letter(state) : '?';
    }
    return text;
}

Json daemon_of(const Snapshot &snapshot) {
    if (!snapshot.about) {
        return nullptr;
    }
    const common::Cluster_File &about = *snapshot.about;
    return {{"version", terminal::printable(about.version)},
            {"started", milliseconds(about.started)},
            {"engine", terminal::printable(about.engine)}};
}

Json events_of(const Snapshot &snapshot) {
    Json events = Json::array();
    for (auto event = snapshot.history.rbegin(); event != snapshot.history.rend(); ++event) {
        events.push_back({{"number", (*event)->number},
                          {"time", milliseconds((*event)->time)},
                          {"event", (*event)->event},
                          {"what", (*event)->what},
                          {"failure", (*event)->failure}});
    }
    return events;
}

std::uint64_t sum(const std::array<std::uint64_t, EVENT_KINDS> &counts) {
    std::uint64_t total = 0;
    for (const std::uint64_t count : counts) {
        total += count;
    }
    return total;
}

} // namespace

Moment present_moment() {
    return {std::chrono::steady_clock::now(), std::chrono::system_clock::now()};
}

std::string render_page_cluster(const Snapshot &snapshot) {
    Json nodes = Json::array();
    for (const int node : snapshot.cluster->nodes) {
        nodes.push_back(Json::array({node, node_name(snapshot, node)}));
    }
    Json networks = Json::array();
    for (const Network &network : snapshot.cluster->networks) {
        networks.push_back(Json::array({network.number, network.name, network.type}));
    }
    Json adapters = Json::array();
    for (const Adapter &adapter : snapshot.cluster->adapters) {
        adapters.push_back(
            Json::array({adapter.number, adapter.node, adapter.network, adapter.type, adapter.address}));
    }
    return text_of({{"cluster", snapshot.about ? terminal::printable(snapshot.about->cluster) : ""},
                    {"local", snapshot.cluster->local_node},
                    {"nodes", std::move(nodes)},
                    {"networks", std::move(networks)},
                    {"adapters", std::move(adapters)}});
}

std::string render_page_state(const Snapshot &snapshot, const Moment &now, std::chrono::milliseconds stale) {
    const bool up = is_up(snapshot, now.steady, stale);
    return text_of({{"exporter", HB_EXPORTER_VERSION},
                    {"time", milliseconds(now.wall)},
                    {"up", up},
                    {"contact", contact_of(snapshot, now)},
                    {"wispd", up ? daemon_of(snapshot) : Json(nullptr)},
                    {"nodes", letters(snapshot.nodes, up)},
                    {"adapters", letters(snapshot.adapters, up)},
                    {"received", sum(snapshot.events)},
                    {"malformed", snapshot.malformed_events},
                    {"reconnects", snapshot.reconnects},
                    {"gaps", snapshot.sequence_gaps},
                    {"events", events_of(snapshot)}});
}

std::string render_page_beat(const Snapshot &snapshot, const Moment &now) {
    return text_of({{"time", milliseconds(now.wall)}, {"contact", contact_of(snapshot, now)}});
}

} // namespace exporter
