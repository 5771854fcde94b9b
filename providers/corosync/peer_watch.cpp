#include "providers/corosync/peer_watch.h"

#include <stdexcept>
#include <utility>

#include "daemon/log.h"
#include "daemon/text.h"

namespace mox_corosync {
namespace {

constexpr std::chrono::seconds RETRY(1);

} // namespace

std::vector<Peer_Change> Peer_Watch::advance(Time now, bool engine_runs) {
    std::vector<Peer_Change> changes;
    try {
        if (!group_ && engine_runs && now >= retry_at_) {
            group_ = join_();
            wait_point_.add({group_->descriptor()});
        }
        for (const Peers &peers : group_ ? group_->dispatch() : std::vector<Peers>()) {
            for (const uint32_t id : present_) {
                if (!peers.present.contains(id) && !peers.gone_with_node.contains(id)) {
                    changes.push_back({id, false});
                }
            }
            for (const uint32_t id : peers.present) {
                if (!present_.contains(id)) {
                    changes.push_back({id, true});
                }
            }
            present_ = peers.present;
        }
    } catch (const std::runtime_error &trouble) {
        wispd::log_info(wispd::text("peers: cannot be followed (", trouble.what(), "); trying again"));
        lose(now);
    }
    return changes;
}

void Peer_Watch::lose(Time now) {
    if (group_) {
        wait_point_.remove({group_->descriptor()});
        group_.reset();
    }
    retry_at_ = now + RETRY;
}

} // namespace mox_corosync
