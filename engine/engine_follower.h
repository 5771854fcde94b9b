// SPDX-License-Identifier: Apache-2.0
// Follows the Corosync engine of this node, through stops and restarts, and reports how the cluster changes.
//
// The caller waits on one descriptor and calls advance() when it is readable. Nothing here waits by itself.
//
//  - Corosync decides which nodes are up. Its links are polled at short intervals. A link or node that failed
//    and recovered between two polls is reported as a death and a join.
//  - The local node's own adapters are up where an interface of this machine has their address and a carrier.
//  - When Corosync disconnects, the other nodes stay up for the grace (grace_seconds). Corosync can reconnect
//    in this time, and then reports one node after the other. The grace of a node ends as soon as Corosync
//    reports it. A node that Corosync has not reported when the grace expires is reported down.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cluster/cluster.h"
#include "engine/engine.h"
#include "engine/engine_settings.h"
#include "engine/engine_translation.h"
#include "engine/local_interfaces.h"
#include "engine/wait_point.h"

namespace wispd {

// The current state of the cluster, which the caller applies as a whole. The first step after the start always
// has a configuration.
struct Engine_Step {
    std::optional<Configuration> configuration; // empty: the same as in the step before
    Liveness liveness;
};

struct Engine_Status {
    bool connected = false;
    bool silent = false;      // a Corosync query is overdue; set by the caller of advance()
    std::string trouble;      // why Corosync is not connected
    std::string refused;      // why Corosync's latest configuration is not in use
    unsigned attempts = 0;    // connection attempts since Corosync disconnected
    std::vector<int> awaited; // nodes that stay up for their grace although Corosync does not report them
};

class Engine_Follower {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // Connects with the first call of advance(). Throws std::system_error when no descriptors are available.
    Engine_Follower(const Engine_Settings &settings, Engine_Connect connect,
                    std::unique_ptr<Local_Interfaces> interfaces);

    // Returns a descriptor that is readable when advance() has work to do. It never changes.
    int descriptor() const { return wait_point_.descriptor(); }
    // Does what is due, without waiting. Returns nothing when nothing changed since the last step.
    std::optional<Engine_Step> advance(Time now);

    const Engine_Status &status() const { return status_; }
    const Engine_Settings &settings() const { return settings_; }
    // Changes the settings. If names or numbers in them differ, the next call of advance() returns a
    // configuration.
    void set(const Engine_Settings &settings);

  private:
    void connect(Time now);
    void listen();
    // Installs a configuration. With `is_news`, reports it even when nothing changed.
    void apply_configuration(Engine_Configuration read, bool is_news);
    void renumber_held(const Engine_Configuration &next);
    void apply_members(const Engine_Members &now);
    void check_links(Time now);
    void lose(const std::string &why, Time now);
    void hold_members_up(Time now);
    void drop_overdue(Time now);
    Liveness liveness();
    std::set<int> local_links() const;
    Time next_due() const;

    Engine_Settings settings_;
    Engine_Connect connect_;
    std::unique_ptr<Local_Interfaces> interfaces_;
    Wait_Point wait_point_;
    std::unique_ptr<Engine> engine_; // null: disconnected
    Time retry_at_{};
    std::chrono::milliseconds retry_after_{};
    Time next_check_{};
    bool has_news_of_members_ = false; // member changes are not reported yet
    bool must_count_joins_ = false;    // members_ has estimated join counts: query the exact ones
    bool must_reread_ = false;         // the configuration must be read again

    Engine_Configuration engine_configuration_;  // the last valid configuration
    Engine_Names names_in_force_;                // the names it was translated with
    std::optional<Configuration> configuration_; // the same configuration, translated
    bool configuration_is_new_ = false;
    Engine_Members members_, members_reported_;
    Engine_Links links_, links_reported_;
    // Members that Corosync has not reported since it disconnected; they stay up until the given time.
    std::map<int, Time> held_nodes_;
    std::map<int64_t, Time> held_adapters_;
    std::optional<Liveness> reported_;
    Engine_Status status_;
};

} // namespace wispd
