// SPDX-License-Identifier: Apache-2.0
#include "daemon/engine_start.h"

#include <stdexcept>

#include "engine/engine_source.h"
#include "host/start_failure.h"

namespace wispd {

Followed begin_to_follow(const std::optional<Engine_Settings> &settings, const Follow_Engine &follow_engine) {
    Followed followed;
    if (settings) {
        try {
            followed.engine = follow_engine(*settings);
            followed.first = await_engine(followed.engine);
        } catch (const std::runtime_error &error) {
            throw Start_Failure(error.what());
        }
    }
    return followed;
}

Cluster cluster_at_start(const Configuration &configured, const Followed &followed) {
    if (!followed.first) {
        return Cluster(configured);
    }
    Cluster cluster(*followed.first->configuration);
    cluster.set_liveness(followed.first->liveness);
    return cluster;
}

} // namespace wispd
