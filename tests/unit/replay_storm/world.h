// SPDX-License-Identifier: Apache-2.0
// A changing cluster, and the service that reports it to the library.
#pragma once

#include <vector>

#include "tests/unit/replay_storm/cluster_state.h"
#include "tests/unit/replay_storm/step.h"

namespace hb_test::replay_storm {

class World {
  public:
    World() = default;
    World(const World &) = delete;
    World &operator=(const World &) = delete;
    virtual ~World() = default;

    // The current cluster, whatever was read of it. The numbers are those of cluster-event mode.
    virtual Cluster_State state() const = 0;
    // Runs the step. Returns false if there is nothing to do, or if the verb does not concern the cluster.
    virtual bool act(const Step &step) = 0;
    // States that the cluster passed through during the last step.
    virtual std::vector<Cluster_State> moments() { return {}; }
    // Completes everything in progress, before all events are read and compared.
    virtual void come_to_rest() = 0;
    // Reports a new configuration without a change, which makes the library query the whole cluster.
    virtual void provoke_rebuild() = 0;
};

} // namespace hb_test::replay_storm
