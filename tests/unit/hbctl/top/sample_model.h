// SPDX-License-Identifier: Apache-2.0
// Clusters of any size as `hbctl top` knows them.
#pragma once

#include <chrono>
#include <string>

#include "tools/hbctl/top/top_model.h"

namespace hbctl_test {

// The moment of the tests, and others after it.
hbctl::Moment moment(std::chrono::milliseconds later = std::chrono::milliseconds(0));

struct Sample {
    int nodes = 5;
    int networks = 2;
    bool named = true; // the nodes: "node-1", "node-2", ...
};

// Node numbers begin with 1, and node 1 is the local one. Every node has an adapter on each network; node N's adapter
// on network K has the number N x 48 + K and the address 10.K.0.N. The networks are "net_0", "net_1" and so on.
// Everything is up.
hbctl::Picture picture_of(const Sample &sample);

// Connected at moment(), with these names.
hbctl::Top_Model model_of(const Sample &sample);

// The death of a node with its adapters, as two events, at moment().
void let_die(int node, const Sample &sample, hbctl::Top_Model &model);

} // namespace hbctl_test
