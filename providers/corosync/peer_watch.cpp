// SPDX-License-Identifier: Apache-2.0
#include "providers/corosync/peer_watch.h"

#include <stdexcept>
#include <utility>

#include "host/log.h"
#include "host/text.h"

namespace mox_corosync {
namespace {

constexpr std::chrono::seconds RETRY(1);

} // namespace

std::vector<Peer_Change> Peer_Watch::advance(Time now, bool engine_runs,
                                             const std::function<bool(uint32_t)> &is_awaited) {
    std::vector<Peer_Change> changes;
    try {
        if (!group_ && engine_runs && now >= retry_at_) {
            group_ = join_();
            is_first_ = true;
            wait_point_.add({group_->descriptor()});
        }
        for (const Peers &peers : group_ ? group_->dispatch() : std::vector<Peers>()) {
            compare(peers, is_awaited, changes);
        }
    } catch (const std::runtime_error &trouble) {
        wispd::log_info(wispd::text("peer group unreachable (", trouble.what(), "); retrying"));
        lose(now);
    }
    if (group_ && !is_first_) {
        std::erase_if(missing_, [&](const uint32_t id) {
            const bool has_left = !is_awaited(id);
            if (has_left) {
                changes.push_back({id, false});
            }
            return has_left;
        });
    }
    return changes;
}

// Adds the differences from the last group. A newly joined group can lack peers that are found again a moment
// later.
void Peer_Watch::compare(const Peers &peers, const std::function<bool(uint32_t)> &is_awaited,
                         std::vector<Peer_Change> &changes) {
    const bool is_first = std::exchange(is_first_, false);
    for (const uint32_t id : present_) {
        if (peers.present.contains(id) || peers.left_with_node.contains(id)) {
            continue;
        }
        if (is_first || is_awaited(id)) {
            missing_.insert(id);
        } else {
            changes.push_back({id, false});
        }
    }
    for (const uint32_t id : peers.present) {
        if (!present_.contains(id) && missing_.erase(id) == 0) {
            changes.push_back({id, true});
        }
    }
    present_ = peers.present;
}

void Peer_Watch::lose(Time now) {
    if (group_) {
        wait_point_.remove({group_->descriptor()});
        group_.reset();
        present_.insert(missing_.begin(), missing_.end());
        missing_.clear();
    }
    retry_at_ = now + RETRY;
}

} // namespace mox_corosync
