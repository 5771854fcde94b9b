// SPDX-License-Identifier: Apache-2.0
// One cluster, its faults, and how long the event of each takes.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "tests/cluster/hosts.h"

namespace hb_test {

// The rows of the table, in this order.
enum class Figure {
    links_lost_by_kill,
    left_by_kill,
    node_death_by_kill,
    from_engine_to_client,
    node_death_by_cut,
    node_death_by_stop,
    node_join_by_start,
    links_up_by_start,
    link_cut,
    young_link_cut,
    link_restored,
};

using Figures = std::map<Figure, std::vector<double>>; // seconds

struct Measured {
    Figures figures;
    int left_out = 0; // runs with another, unplanned change
};

// The cluster's first host has wispd, a client and an observer of the engine; the others fail.
struct Watched_Cluster {
    int hosts = 3;
    Engine_Settings engine;
};

Measured measure(const Watched_Cluster &cluster, int runs, std::ostream &progress);

} // namespace hb_test
