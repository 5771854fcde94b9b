// SPDX-License-Identifier: Apache-2.0
// Executes the requests of clients that concern their node: checks each against the cluster, applies it, and
// keeps the state outside membership. Does no I/O; the caller passes the time in.
#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>

#include "cluster/cluster.h"
#include "cluster/node_request.h"
#include "cluster/suspicions.h"

namespace wispd {

struct Suspicion_Settings {
    // confirm_seconds: the time from a suspicion to the death that it becomes.
    std::chrono::microseconds confirm{1000000};
    int32_t max_grace_seconds = 3600;

    bool operator==(const Suspicion_Settings &) const = default;
};

// Network interface modules under manual control: all or no modules, with the exceptions to that.
struct Manual_Control {
    bool all = false;
    std::set<std::string> exceptions;
};

struct Outcome {
    Request_Status status = REQUEST_DONE;
    int32_t word = 0; // the adapter's state, if it was requested
    std::string note; // the outcome in words, for the log
    Changes changes;
};

class Node_Control {
  public:
    Node_Control(Cluster &cluster, const Suspicion_Settings &settings)
        : cluster_(cluster), settings_(settings) {
        heed({});
    }

    // Executes any request except configuration, subscriptions, routes, multicasts, heartbeats and shutdown.
    Outcome act(const Node_Request &request, Time now);

    // Turns all suspicions that are due into deaths, in one set of changes.
    Outcome confirm_due(Time now);
    std::optional<Time> next_due() const { return suspicions_.next(); }
    // Ends a suspicion after a sign of life from elsewhere; returns false when there was no such suspicion.
    bool clear_node(int node);
    bool clear_adapter(int64_t adapter) { return suspicions_.clear_adapter(adapter); }
    // Must be called after any change of the cluster.
    void heed(const Changes &changes) { suspicions_.heed(changes, cluster_); }

    void set(const Suspicion_Settings &settings) { settings_ = settings; }
    const Suspicions &suspicions() const { return suspicions_; }
    bool discards_stale_messages() const { return discards_stale_messages_; }
    const Manual_Control &manual_control() const { return manual_control_; }

  private:
    Outcome suspect_node(int64_t node, Time now);
    Outcome suspect_adapter(int64_t adapter, Time now);
    Outcome change_liveness(const Node_Request &request, std::size_t adapter);
    Outcome configure(std::size_t adapter, const Hb_IP_address4 &address);
    Outcome unconfigure(std::size_t adapter);
    Outcome swap(std::size_t adapter, const Hb_IP_address4 &address);
    Outcome give_grace(std::size_t adapter, int32_t seconds, Time now);
    Outcome simulate_death(int32_t slept_seconds);
    Outcome take_manual_control(bool take, const std::string &interface);
    Outcome act_on_adapter(const Node_Request &request, Time now);

    Cluster &cluster_;
    Suspicion_Settings settings_;
    Suspicions suspicions_;
    bool discards_stale_messages_ = false;
    Manual_Control manual_control_;
};

} // namespace wispd
