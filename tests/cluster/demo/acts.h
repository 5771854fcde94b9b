// SPDX-License-Identifier: Apache-2.0
// The faults of the demo, and the events that every client must receive for them.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/cluster/demo/stage.h"

namespace hb_demo {

struct Act {
    std::string headline;
    std::string explanation;
    std::string short_name;
    std::function<void(hb_test::Hosts &)> happen;
    Told told = Told::death;
    std::map<int, Members> by_host; // the members that each host's client must receive events for
};

std::vector<Act> acts();

// All members, as all clients see them in the end.
Members everyone();

// Causes the fault and shows the events until every client has received all. Returns how long that lasted.
std::vector<Delays> play(Stage &stage, Screen &screen, const Act &act);

} // namespace hb_demo
