// SPDX-License-Identifier: Apache-2.0
// Finds the events of a cluster service for the difference between two pictures.
#pragma once

#include <string>
#include <vector>

#include "providers/service/event_record.h"
#include "providers/service/picture.h"

namespace mox_service {

// An event, and the monitor that reports it.
struct Monitor_Event {
    std::string monitor;
    Event_Record event;
};

// Returns the events in this order: nodes that left, then interfaces that left; changed addresses; members that
// joined; deaths; repairs. If a node leaves, joins, dies or comes up, its one event also covers its interfaces.
std::vector<Monitor_Event> events_between(const Picture &before, const Picture &after);

// Returns the one event that reports a completely new configuration.
Monitor_Event reconfiguration();

} // namespace mox_service
