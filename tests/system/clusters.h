// SPDX-License-Identifier: Apache-2.0
// Configuration files for wispd.
#pragma once

#include <string>

namespace hb_test {

// Nodes 1 to 3 are up with adapters 2 to 7, node 4 is down with adapter 8. The local node is 1; there are 8
// node slots of 2 adapters.
std::string small_cluster_file();

// A full cluster: 2049 nodes with 48 adapters each.
std::string full_cluster_file();

// Node 0 is the local node. Two chains of networks lead from it to node 8. One goes through nodes 1 to 4,
// starting at its adapter 0; the shorter one goes through nodes 5 to 7, starting at its adapter 1. Node 9 is
// next to the last node of both, but has no IP on the first. In network N, node K has the address 10.N.0.K+1.
std::string two_chains_file();

std::string replaced(std::string text, const std::string &what, const std::string &with);

} // namespace hb_test
