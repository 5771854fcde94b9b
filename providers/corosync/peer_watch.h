// SPDX-License-Identifier: Apache-2.0
// Follows the group of peers across disconnections from the engine.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <vector>

#include "engine/wait_point.h"
#include "providers/corosync/peer_group.h"

namespace mox_corosync {

struct Peer_Change {
    uint32_t node_id = 0;
    bool up = false;
};

class Peer_Watch {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // Creates the watch. The first call of advance() with a running engine joins the group. Throws
    // std::system_error.
    explicit Peer_Watch(Peer_Join join) : join_(std::move(join)) {}

    // Returns a descriptor that is readable when advance() has work. It stays the same.
    int descriptor() const { return wait_point_.descriptor(); }
    // Returns the peers that joined or left since the last call, in order. While the engine is disconnected, no
    // peer leaves. A peer also does not leave while its node is awaited.
    std::vector<Peer_Change> advance(Time now, bool engine_runs,
                                     const std::function<bool(uint32_t node_id)> &is_awaited);

  private:
    void compare(const Peers &peers, const std::function<bool(uint32_t)> &is_awaited,
                 std::vector<Peer_Change> &changes);
    void lose(Time now);

    Peer_Join join_;
    wispd::Wait_Point wait_point_;
    std::unique_ptr<Peer_Group> group_;
    Time retry_at_{};
    bool is_first_ = false; // true until the newly joined group is first compared
    std::set<uint32_t> present_;
    std::set<uint32_t> missing_; // were present before; not yet found again or reported as left
};

} // namespace mox_corosync
