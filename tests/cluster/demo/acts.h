// What happens to the cluster in the demo, and what every client has to be told of it.
#ifndef HB_TEST_CLUSTER_DEMO_ACTS_H
#define HB_TEST_CLUSTER_DEMO_ACTS_H

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
    std::map<int, Members> by_host; // whom each host's client has to be told of
};

std::vector<Act> acts();

// Everyone, as all clients see it in the end.
Members everyone();

// Lets it happen and shows it until every client was told all; how long that took.
std::vector<Delays> play(Stage &stage, Screen &screen, const Act &act);

} // namespace hb_demo

#endif
