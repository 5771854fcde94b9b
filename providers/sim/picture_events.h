// What a cluster service tells when one picture of the cluster becomes another.
#ifndef MOX_SIM_PICTURE_EVENTS_H
#define MOX_SIM_PICTURE_EVENTS_H

#include <vector>

#include "providers/sim/simulated_service.h"

namespace mox_sim {

// First who left: nodes, then interfaces of nodes that stay; then changed addresses; then who joined; then whose
// liveness changed, deaths before repairs. The interfaces of a node that leaves, joins, dies or comes up are not
// told by themselves: its one event stands for them.
std::vector<Told> events_between(const Picture &before, const Picture &after);

// The one event of a whole new configuration.
Told reconfiguration();

} // namespace mox_sim

#endif
