// SPDX-License-Identifier: Apache-2.0
#include "providers/corosync/corosync_peers.h"

#include <algorithm>

#include "engine/corosync/corosync_translation.h"
#include "host/log.h"
#include "host/text.h"

namespace mox_corosync {

Corosync_Peers::Corosync_Peers(const Peer_Settings &settings)
    : name_(settings.name), names_(settings.names), watch_(settings.join) {}

std::vector<mox_followed::Peer_Report> Corosync_Peers::advance(wispd::Engine::Time now,
                                                               const wispd::Engine_Status &engine) {
    const auto is_awaited = [&](uint32_t id) { return is_node_awaited(id, engine); };
    std::vector<mox_followed::Peer_Report> reports;
    for (const Peer_Change &change : watch_.advance(now, engine.connected, is_awaited)) {
        try {
            reports.push_back({wispd::node_number(change.node_id, names_), change.up});
        } catch (const wispd::Corosync_Refused &refused) {
            wispd::log_warning(wispd::text("peers: ", refused.what()));
        }
    }
    return reports;
}

// Returns true if the node is considered up although the reconnected engine has not detected it yet.
bool Corosync_Peers::is_node_awaited(uint32_t id, const wispd::Engine_Status &engine) const {
    return std::any_of(engine.awaited.begin(), engine.awaited.end(), [&](int number) {
        const auto &names = names_.nodes;
        const auto named = names.find(id);
        return named != names.end() ? named->second == number : id == static_cast<uint32_t>(number);
    });
}

} // namespace mox_corosync
