// SPDX-License-Identifier: Apache-2.0
// The view of a client that knows only its events, and the rules that these events must follow.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qz_mox.h"
#include "tests/unit/replay_storm/cluster_state.h"

namespace hb_test::replay_storm {

// A violated rule, and how it was violated.
class Violation : public std::runtime_error {
  public:
    Violation(std::string rule, const std::string &what)
        : std::runtime_error(rule + ": " + what), rule_(std::move(rule)) {}
    const std::string &rule() const { return rule_; }

  private:
    std::string rule_;
};

// One event as the client received it. The adapters come from the client's queries for the numbers, made
// directly after the event. A death precedes the change of the configuration, and a join follows it.
struct Delivered {
    int events = 0;
    bool of_nodes = false;
    std::vector<int> nodes;
    std::vector<std::pair<unsigned, std::optional<Adapter_Id>>> adapters;
};

class Replay {
  public:
    // The client starts with this configuration, and knows no states. The reports of the nodes and adapters
    // that are up follow as events.
    void start(const Configuration &configuration);

    // The cluster has, or had for a while, this state: members that are up may join, and others may die.
    void possible(const Cluster_State &state);
    // Earlier states no longer count as causes.
    void forget_causes();
    // The library read this event of a node, or of the peer on it.
    void read(qz_orb_event_category_t category, qz_orb_event_type_t type, int node);
    void message_from(int node);
    // The client migrates from the daemon to the service. A daemon's configuration contains no node states, so
    // the library learns a node's state only from later events. It cannot compare an unknown state.
    void forgive_unknown_nodes();

    // The service did not answer the commit that leaves the daemon, so older events are still unread. Because
    // of them a reading may find a node down by itself, and its return may be reported, whatever was reported
    // about its peer.
    void keeps_older_events() { has_older_events_ = true; }

    // Whether the service has failed to answer since the last comparison. A node that joined meanwhile is not
    // known yet. Its own record is still sufficient evidence, so its death may be reported.
    void missed_answers(bool missed) { has_missed_answers_ = missed; }

    // Throws Violation.
    void take(const Delivered &event);
    void take_configuration(const Configuration &configuration);
    // Nothing is left to read: the state from the events must be the real state.
    void compare(const Cluster_State &state, const Configuration &queried);

  private:
    // The last known state of the peer on a node. If the node died and returned meanwhile, the state depends on
    // which of several monitors was read first.
    enum class Peer { alive, dead, unsure };
    using Up = std::set<std::string>;

    Peer peer_of(int node) const;
    bool is_up(const std::string &name) const { return up_.contains(name); }
    bool was_ever_down(const std::string &name) const;
    bool was_ever_up(const std::string &name) const;
    void add_causes();
    void add_join(int node);
    void change(int events, const std::string &name);
    void learn_of(const Delivered &event);
    void take_account(const Delivered &event, const std::vector<std::string> &members);

    Configuration configuration_;
    std::set<int> nodes_seen_; // in a configuration since the last comparison
    Up up_;
    std::set<int> accounts_;       // the reports of present nodes (1) and adapters (0) that have arrived
    std::set<int> nodes_reported_; // since the last configuration
    std::set<int> unknown_;        // nodes whose state follows with the next event or comparison
    std::map<int, Peer> peers_;
    std::optional<Cluster_State> state_;
    bool has_missed_answers_ = false;
    bool has_older_events_ = false;
    std::vector<Up> causes_;
    Up joins_;                    // of nodes whose peers are alive
    std::set<int> nodes_ever_up_; // in the cluster itself, since the first cause that counts
};

} // namespace hb_test::replay_storm
