// SPDX-License-Identifier: Apache-2.0
// The peers of a program by node number. Corosync reports them by its own node ids.
#pragma once

#include <string>
#include <vector>

#include "engine/engine_settings.h"
#include "providers/corosync/peer_watch.h"
#include "providers/followed/followed_peers.h"

namespace mox_corosync {

// Identifies the programs of other nodes that are this program's peers.
struct Peer_Settings {
    std::string name; // name of the program in the events
    Peer_Join join;
    wispd::Corosync_Names names = {}; // node numbers by id
};

class Corosync_Peers final : public mox_followed::Followed_Peers {
  public:
    // Throws std::system_error.
    explicit Corosync_Peers(const Peer_Settings &settings);

    const std::string &name() const override { return name_; }
    int descriptor() const override { return watch_.descriptor(); }
    std::vector<mox_followed::Peer_Report> advance(wispd::Engine::Time now,
                                                   const wispd::Engine_Status &engine) override;

  private:
    bool is_node_awaited(uint32_t id, const wispd::Engine_Status &engine) const;

    std::string name_;
    wispd::Corosync_Names names_;
    Peer_Watch watch_;
};

} // namespace mox_corosync
