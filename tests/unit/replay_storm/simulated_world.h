// SPDX-License-Identifier: Apache-2.0
// A cluster that the simulated service reports: each change sends the events that the service's own player
// sends.
#pragma once

#include <memory>

#include "tests/unit/replay_storm/world.h"

namespace hb_test::replay_storm {

// Nodes 1 to 4 with two adapters each, all up. Node 1 is the local node.
std::unique_ptr<World> make_simulated_world();

} // namespace hb_test::replay_storm
