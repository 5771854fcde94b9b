// SPDX-License-Identifier: Apache-2.0
// libqz_mox_corosync.so: installs a cluster service over this node's Corosync in a client that loads it, until
// the process ends.
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "engine/cluster_file.h"
#include "engine/corosync/corosync_access.h"
#include "host/paths.h"
#include "providers/corosync/corosync_service.h"
#include "providers/corosync/cpg_peer_group.h"
#include "providers/service/loading.h"

namespace {

wispd::Corosync_Settings engine_settings() {
    const std::string path = mox_service::setting("HB_MOX_COROSYNC_CONFIG");
    if (path.empty()) {
        return {};
    }
    const wispd::Cluster_File file = wispd::read_cluster_file(wispd::absolute_path(path));
    const auto *settings = file.engine ? std::get_if<wispd::Corosync_Settings>(&*file.engine) : nullptr;
    if (settings == nullptr) {
        throw std::runtime_error(path +
                                 ": does not name Corosync as the source; expected a file with [source] type = "
                                 "\"corosync\"");
    }
    return *settings;
}

std::optional<mox_corosync::Peer_Settings> peer_settings(const wispd::Corosync_Settings &settings) {
    const std::string name = mox_service::setting("HB_MOX_COROSYNC_PEERS");
    if (name.empty()) {
        return std::nullopt;
    }
    return mox_corosync::Peer_Settings{name, mox_corosync::join_peers_called(name), settings.names};
}

// Creates the service. A stopped engine is not an error here, because each query detects and reports it.
std::unique_ptr<mox_corosync::Corosync_Service> make_service() {
    mox_service::log_as_set("HB_MOX_COROSYNC_LOG");
    const wispd::Corosync_Settings settings = engine_settings();
    return std::make_unique<mox_corosync::Corosync_Service>(wispd::follow_corosync(settings),
                                                            peer_settings(settings));
}

const mox_service::Loaded_Service<mox_corosync::Corosync_Service> LOADED("libqz_mox_corosync", make_service);

} // namespace
