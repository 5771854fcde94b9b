// SPDX-License-Identifier: Apache-2.0
// libqz_mox_serf.so: installs a cluster service over this node's Serf agents in a client that loads it, until the
// process ends.
#include <memory>
#include <stdexcept>
#include <string>

#include "engine/serf/serf_access.h"
#include "providers/followed/engine_file.h"
#include "providers/followed/followed_service.h"
#include "providers/service/loading.h"

namespace {

// The agents have no address that would fit every cluster, so the file is required.
wispd::Serf_Settings engine_settings() {
    const std::string path = mox_service::setting("HB_MOX_SERF_CONFIG");
    if (path.empty()) {
        throw std::runtime_error(
            "HB_MOX_SERF_CONFIG is not set; expected the path of a file with [source] type = \"serf\"");
    }
    return mox_followed::read_engine_settings<wispd::Serf_Settings>(path, wispd::SERF);
}

// Creates the service. A stopped agent is not an error here, because each query detects and reports it.
std::unique_ptr<mox_followed::Followed_Service> make_service() {
    mox_service::log_as_set("HB_MOX_SERF_LOG");
    return std::make_unique<mox_followed::Followed_Service>(wispd::follow_serf(engine_settings()));
}

const mox_service::Loaded_Service<mox_followed::Followed_Service> LOADED("libqz_mox_serf", make_service);

} // namespace
