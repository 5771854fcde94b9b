// SPDX-License-Identifier: Apache-2.0
// A daemon that shows its client the cluster as it was at the daemon's last check.
#pragma once

#include <memory>

#include "tests/support/fake_daemon.h"
#include "tests/unit/replay_storm/cluster_state.h"

namespace hb_test::replay_storm {

class Daemon_Side {
  public:
    // Its adapter numbers allow this many adapters a node.
    Daemon_Side(const Cluster_State &cluster, unsigned per_node);

    // The reports of present members that follow the two subscriptions.
    void send_accounts();
    // Sends the differences from the state shown before.
    void follow(const Cluster_State &cluster);
    // The shown state, with the daemon's own numbers.
    const Cluster_State &state() const { return shown_; }

  private:
    Cluster_State numbered(const Cluster_State &cluster) const;
    Bytes snapshot_of(const Cluster_State &cluster) const;
    void send_nodes(int kind, const std::set<int> &nodes);
    void send_adapters(int kind, const std::set<Adapter_Id> &adapters, const Cluster_State &numbers);
    void send(const Bytes &record);

    unsigned per_node_;
    Cluster_State shown_;
    std::unique_ptr<Fake_Daemon> daemon_;
};

} // namespace hb_test::replay_storm
