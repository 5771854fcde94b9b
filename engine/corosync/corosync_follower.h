// SPDX-License-Identifier: Apache-2.0
// Follows the Corosync engine of this node, through stops and restarts, and reports how the cluster changes.
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
#include "engine/corosync/corosync.h"
#include "engine/corosync/corosync_translation.h"
#include "engine/corosync/local_interfaces.h"
#include "engine/engine.h"
#include "engine/engine_settings.h"
#include "engine/wait_point.h"

namespace wispd {

class Corosync_Follower final : public Engine {
  public:
    // Connects with the first call of advance(). Throws std::system_error when no descriptors are available.
    Corosync_Follower(const Corosync_Settings &settings, Corosync_Connect connect,
                      std::unique_ptr<Local_Interfaces> interfaces);

    Engine_Name name() const override { return COROSYNC; }
    int descriptor() const override { return wait_point_.descriptor(); }
    std::optional<Engine_Step> advance(Time now) override;
    const Engine_Status &status() const override { return status_; }
    std::chrono::milliseconds grace() const override { return settings_.patience.grace; }
    void set(const Engine_Settings &settings) override;

  private:
    void connect(Time now);
    void listen();
    // Installs a configuration. With `is_news`, reports it even when nothing changed.
    void apply_configuration(Corosync_Configuration read, bool is_news);
    void renumber_held(const Corosync_Configuration &next);
    void apply_members(const Corosync_Members &now);
    void check_links(Time now);
    void lose(const std::string &why, Time now);
    void hold_members_up(Time now);
    void drop_overdue(Time now);
    Liveness liveness();
    std::set<int> local_links() const;
    Time next_due() const;

    Corosync_Settings settings_;
    Corosync_Connect connect_;
    std::unique_ptr<Local_Interfaces> interfaces_;
    Wait_Point wait_point_;
    std::unique_ptr<Corosync> engine_; // null: disconnected
    Time retry_at_{};
    std::chrono::milliseconds retry_after_{};
    Time next_check_{};
    bool has_news_of_members_ = false; // member changes are not reported yet
    bool must_count_joins_ = false;    // members_ has estimated join counts: query the exact ones
    bool must_reread_ = false;         // the configuration must be read again

    Corosync_Configuration engine_configuration_; // the last valid configuration
    Corosync_Names names_in_force_;               // the names it was translated with
    std::optional<Configuration> configuration_;  // the same configuration, translated
    bool configuration_is_new_ = false;
    Corosync_Members members_, members_reported_;
    Corosync_Links links_, links_reported_;
    // Members that Corosync has not reported since it disconnected; they stay up until the given time.
    std::map<int, Time> held_nodes_;
    std::map<int64_t, Time> held_adapters_;
    std::optional<Liveness> reported_;
    Engine_Status status_;
};

} // namespace wispd
