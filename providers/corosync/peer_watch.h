// Follows the group of peers through the engine's ends and returns.
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

    // Joins with the first call of advance() while the engine runs. Throws std::system_error.
    explicit Peer_Watch(Peer_Join join) : join_(std::move(join)) {}

    // Readable when advance() has something to do. Stays the same.
    int descriptor() const { return wait_point_.descriptor(); }
    // Who has come and gone since the last call, in order. While the engine is gone nobody does, and whose node it has
    // yet to find again is not gone by that.
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
    bool is_first_ = false; // of the group that was joined last
    std::set<uint32_t> present_;
    std::set<uint32_t> missing_; // were present before, and have yet to be found or told gone
};

} // namespace mox_corosync
