// SPDX-License-Identifier: Apache-2.0
// A cluster of an engine that the storm controls. The service over Corosync reports it.
#pragma once

#include <memory>

#include "tests/unit/replay_storm/world.h"

namespace hb_test::replay_storm {

// Nodes 1 to 4 on two links, all up, with a peer on each node. Node 1 is the local node.
std::unique_ptr<World> make_engine_world();

} // namespace hb_test::replay_storm
