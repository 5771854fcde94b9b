// What happens in a cluster, and the service that shows it to the library.
#ifndef HB_TEST_REPLAY_STORM_WORLD_H
#define HB_TEST_REPLAY_STORM_WORLD_H

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

    // The cluster as it is, whatever was read of it. The numbers are those of cluster-event mode.
    virtual Cluster_State state() const = 0;
    // Does the step; false when there is nothing to do, or the verb is not one of the cluster's.
    virtual bool act(const Step &step) = 0;
    // What the cluster was like for a moment of the last step.
    virtual std::vector<Cluster_State> moments() { return {}; }
    // Ends what is under way, before everything is read and compared.
    virtual void come_to_rest() = 0;
    // A new configuration without a change, which makes the library ask for the whole cluster.
    virtual void provoke_rebuild() = 0;
};

} // namespace hb_test::replay_storm

#endif
