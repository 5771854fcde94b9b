// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/replay_storm/replay.h"

#include <algorithm>

namespace hb_test::replay_storm {
namespace {

constexpr int DEATH = 1;
constexpr int JOIN = 2;
constexpr int NEW_GROUP = 4;

std::string text_of(const std::set<std::string> &names) {
    std::string text;
    for (const std::string &name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

} // namespace

void Replay::start(const Configuration &configuration) {
    configuration_ = configuration;
    nodes_seen_ = configuration.nodes;
    up_.clear();
    accounts_.clear();
    peers_.clear();
    has_older_events_ = false;
    nodes_reported_.clear();
    unknown_.clear();
    joins_.clear();
    nodes_ever_up_.clear();
    causes_.clear();
}

// ---- Possible states ----

Replay::Peer Replay::peer_of(int node) const {
    const auto found = peers_.find(node);
    return found != peers_.end() && node != configuration_.local_node ? found->second : Peer::alive;
}

void Replay::possible(const Cluster_State &state) {
    state_ = state;
    for (auto &[node, peer] : peers_) {
        // A node that left and rejoined is a new node, if the library saw that it had left.
        if (peer == Peer::dead && !state.configuration.nodes.contains(node)) {
            peer = Peer::unsure;
        }
    }
    add_causes();
}

void Replay::add_causes() {
    if (!state_) {
        return;
    }
    nodes_ever_up_.insert(state_->nodes_up.begin(), state_->nodes_up.end());
    // A node that any complete reading finds down is down by itself, whatever was reported about its peer.
    for (auto &[node, peer] : peers_) {
        if (peer == Peer::dead && !state_->nodes_up.contains(node)) {
            peer = Peer::unsure;
        }
    }
    Up up;
    Up less;
    for (const int node : state_->nodes_up) {
        if (peer_of(node) != Peer::dead) {
            up.insert(thing(node));
        }
        if (peer_of(node) == Peer::alive) {
            less.insert(thing(node));
        }
    }
    for (const Adapter_Id &adapter : state_->adapters_up) {
        up.insert(thing(adapter));
        less.insert(thing(adapter));
    }
    if (less != up) {
        causes_.push_back(std::move(less));
    }
    causes_.push_back(std::move(up));
}

void Replay::forget_causes() {
    causes_.clear();
    joins_.clear();
    nodes_ever_up_.clear();
    add_causes();
}

// The node's peer is alive. Events of the node itself may still be unread.
void Replay::add_join(int node) {
    joins_.insert(thing(node));
}

bool Replay::was_ever_down(const std::string &name) const {
    return std::any_of(causes_.begin(), causes_.end(), [&](const Up &set) { return !set.contains(name); });
}

// An interface event contains only its name. Until the client knows the interface's new address, the event
// counts for the old one.
bool Replay::was_ever_up(const std::string &name) const {
    if (joins_.contains(name)) {
        return true;
    }
    const std::size_t slash = name.rfind('/');
    const std::string by_name = slash == std::string::npos ? name : name.substr(0, slash + 1);
    return std::any_of(causes_.begin(), causes_.end(), [&](const Up &set) {
        return set.contains(name) || (slash != std::string::npos && set.lower_bound(by_name) != set.end() &&
                                      set.lower_bound(by_name)->starts_with(by_name));
    });
}

void Replay::read(qz_orb_event_category_t category, qz_orb_event_type_t type, int node) {
    if (category == QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS) {
        if ((type == QZ_ORB_EVENT_DOWN || has_older_events_) && peer_of(node) == Peer::dead) {
            peers_[node] = Peer::unsure;
        }
        if (peer_of(node) == Peer::unsure && nodes_ever_up_.contains(node)) {
            add_join(node);
        }
    } else if (type == QZ_ORB_EVENT_UP) {
        peers_[node] = Peer::alive;
        if (nodes_ever_up_.contains(node)) {
            add_join(node);
        }
    } else if (peer_of(node) != Peer::dead) {
        peers_[node] = is_up(thing(node)) && !unknown_.contains(node) ? Peer::dead : Peer::unsure;
    }
    add_causes();
}

void Replay::message_from(int node) {
    if (peer_of(node) != Peer::alive) {
        peers_[node] = peer_of(node) == Peer::dead ? Peer::alive : Peer::unsure;
        add_join(node);
    }
    add_causes();
}

// ---- Received events ----

void Replay::take(const Delivered &event) {
    std::vector<std::string> members;
    for (const int node : event.nodes) {
        // A node's own record may be read before its joining can be determined.
        const bool exists = (state_ && state_->configuration.nodes.contains(node)) || has_missed_answers_;
        if (!exists && !nodes_seen_.contains(node) && !configuration_.nodes.contains(node)) {
            throw Violation("event names what is not configured", thing(node));
        }
        members.push_back(thing(node));
    }
    for (const auto &[number, adapter] : event.adapters) {
        if (!adapter) {
            throw Violation("event names what is not configured", "adapter number " + std::to_string(number));
        }
        members.push_back(thing(*adapter));
    }
    learn_of(event);
    if (event.events == NEW_GROUP) {
        take_account(event, members);
        return;
    }
    for (std::size_t i = 0; i < members.size(); ++i) {
        const bool is_unknown_node = event.of_nodes && !configuration_.nodes.contains(event.nodes[i]);
        if (event.events == DEATH && is_unknown_node && has_missed_answers_ && !is_up(members[i])) {
            continue;
        }
        change(event.events, members[i]);
    }
}

void Replay::learn_of(const Delivered &event) {
    for (const int node : event.nodes) {
        nodes_reported_.insert(node);
        if (unknown_.erase(node) > 0) {
            event.events == DEATH ? static_cast<void>(up_.insert(thing(node)))
                                  : static_cast<void>(up_.erase(thing(node)));
        }
    }
}

void Replay::forgive_unknown_nodes() {
    for (const int node : configuration_.nodes) {
        if (!nodes_reported_.contains(node)) {
            unknown_.insert(node);
        }
    }
}

void Replay::change(int events, const std::string &name) {
    const std::string kind = name.substr(0, name.find(' '));
    if (events == DEATH) {
        if (!is_up(name)) {
            throw Violation(kind + " death of what is not up", name);
        }
        if (!was_ever_down(name)) {
            throw Violation(kind + " death without a cause", name);
        }
        up_.erase(name);
    } else if (events == JOIN) {
        if (is_up(name)) {
            throw Violation(kind + " join of what is up", name);
        }
        if (!was_ever_up(name)) {
            throw Violation(kind + " join without a cause", name);
        }
        up_.insert(name);
    }
}

void Replay::take_account(const Delivered &event, const std::vector<std::string> &members) {
    const Up account(members.begin(), members.end());
    const std::string kind = event.of_nodes ? "node " : "adapter ";
    Up known;
    std::copy_if(up_.begin(), up_.end(), std::inserter(known, known.end()),
                 [&](const std::string &name) { return name.starts_with(kind); });
    if (!accounts_.insert(event.of_nodes ? 1 : 0).second && account != known) {
        throw Violation(kind + "account differs from the events",
                        "the account says " + text_of(account) + "; the events said " + text_of(known));
    }
    for (const std::string &name : known) {
        up_.erase(name);
    }
    up_.insert(account.begin(), account.end());
}

void Replay::take_configuration(const Configuration &configuration) {
    std::set<std::string> adapters;
    for (const auto &[number, adapter] : configuration.adapters) {
        adapters.insert(thing(adapter));
    }
    for (const std::string &name : up_) {
        if (name.starts_with("adapter ") && !adapters.contains(name)) {
            throw Violation("adapter left while reported up", name);
        }
    }
    configuration_ = configuration;
    nodes_reported_.clear();
    nodes_seen_.insert(configuration.nodes.begin(), configuration.nodes.end());
}

// ---- The final comparison ----

void Replay::compare(const Cluster_State &state, const Configuration &queried) {
    if (queried != state.configuration) {
        throw Violation("configuration differs",
                        "the queries say " + text_of(queried) + "; it is " + text_of(state.configuration));
    }
    for (const int node : std::exchange(unknown_, {})) {
        state.nodes_up.contains(node) ? static_cast<void>(up_.insert(thing(node)))
                                      : static_cast<void>(up_.erase(thing(node)));
    }
    Up up;
    for (const int node : state.nodes_up) {
        if (peer_of(node) == Peer::unsure) {
            peers_[node] = is_up(thing(node)) ? Peer::alive : Peer::dead;
        }
        if (peer_of(node) == Peer::alive) {
            up.insert(thing(node));
        }
    }
    for (const Adapter_Id &adapter : state.adapters_up) {
        up.insert(thing(adapter));
    }
    for (const std::string &name : up) {
        if (!is_up(name)) {
            throw Violation(name.substr(0, name.find(' ')) + " join lost", name + " is up");
        }
    }
    for (const std::string &name : up_) {
        if (!up.contains(name)) {
            throw Violation(name.substr(0, name.find(' ')) + " death lost", name + " is not up");
        }
    }
    nodes_seen_ = queried.nodes;
    has_older_events_ = false;
    possible(state);
}

} // namespace hb_test::replay_storm
