// What a cluster service tells when one picture of the cluster becomes another.
#pragma once

#include <string>
#include <vector>

#include "providers/service/event_record.h"
#include "providers/service/picture.h"

namespace mox_service {

// An event, and the monitor that it is told on.
struct Told {
    std::string monitor;
    Event_Record event;
};

// First who left: nodes, then interfaces of nodes that stay; then changed addresses; then who joined; then whose
// liveness changed, deaths before repairs. The interfaces of a node that leaves, joins, dies or comes up are not
// told by themselves: its one event stands for them.
std::vector<Told> events_between(const Picture &before, const Picture &after);

// The one event of a whole new configuration.
Told reconfiguration();

} // namespace mox_service
