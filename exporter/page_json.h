// SPDX-License-Identifier: Apache-2.0
// What the live page receives, made from a snapshot alone.
//
// The configuration is large and changes rarely; the states are one letter for each node and adapter, in the order
// of the configuration. Moments are milliseconds since 1970 by this machine's clock.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "exporter/snapshot.h"

namespace exporter {

// The two clocks, read together.
struct Moment {
    Steady_Time steady;
    Wall_Time wall;
};
Moment present_moment();

// Names, nodes, networks and adapters.
std::string render_page_cluster(const Snapshot &snapshot);

// States, counts and the last events. Without contact every state is unknown: "?".
std::string render_page_state(const Snapshot &snapshot, const Moment &now, std::chrono::milliseconds stale);

// The time, and when wispd last sent something.
std::string render_page_beat(const Snapshot &snapshot, const Moment &now);

} // namespace exporter
