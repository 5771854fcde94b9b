// SPDX-License-Identifier: Apache-2.0
// libqz_mox_corosync.so: installs a cluster service over this node's Corosync in a client that loads it, until
// the process ends.
#include <memory>
#include <string>

#include "engine/corosync/corosync_access.h"
#include "providers/corosync/corosync_peers.h"
#include "providers/corosync/cpg_peer_group.h"
#include "providers/followed/engine_file.h"
#include "providers/followed/followed_service.h"
#include "providers/service/loading.h"

namespace {

wispd::Corosync_Settings engine_settings() {
    const std::string path = mox_service::setting("HB_MOX_COROSYNC_CONFIG");
    return path.empty() ? wispd::Corosync_Settings()
                        : mox_followed::read_engine_settings<wispd::Corosync_Settings>(path, wispd::COROSYNC);
}

// Returns null if the program is not a membership daemon.
std::unique_ptr<mox_corosync::Corosync_Peers> peers(const wispd::Corosync_Settings &settings) {
    const std::string name = mox_service::setting("HB_MOX_COROSYNC_PEERS");
    if (name.empty()) {
        return nullptr;
    }
    return std::make_unique<mox_corosync::Corosync_Peers>(
        mox_corosync::Peer_Settings{name, mox_corosync::join_peers_called(name), settings.names});
}

// Creates the service. A stopped engine is not an error here, because each query detects and reports it.
std::unique_ptr<mox_followed::Followed_Service> make_service() {
    mox_service::log_as_set("HB_MOX_COROSYNC_LOG");
    const wispd::Corosync_Settings settings = engine_settings();
    return std::make_unique<mox_followed::Followed_Service>(wispd::follow_corosync(settings), peers(settings));
}

const mox_service::Loaded_Service<mox_followed::Followed_Service> LOADED("libqz_mox_corosync", make_service);

} // namespace
