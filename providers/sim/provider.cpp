// SPDX-License-Identifier: Apache-2.0
// libqz_mox_sim.so: installs the simulated cluster service in a client that loads it, until the process ends.
#include <memory>
#include <stdexcept>

#include "providers/service/loading.h"
#include "providers/sim/cluster_player.h"

namespace {

std::unique_ptr<mox_sim::Cluster_Player> make_player() {
    const mox_sim::Play play = {mox_service::setting("HB_MOX_SIM_CONFIG"),
                                mox_service::setting("HB_MOX_SIM_CONTROL")};
    if (play.config.empty()) {
        throw std::runtime_error("HB_MOX_SIM_CONFIG is not set; set it to the path of a cluster file");
    }
    mox_service::log_as_set("HB_MOX_SIM_LOG");
    return std::make_unique<mox_sim::Cluster_Player>(play);
}

const mox_service::Loaded_Service<mox_sim::Cluster_Player> LOADED("libqz_mox_sim", make_player);

} // namespace
