// Configuration files for wispd.
#ifndef HB_TEST_SYSTEM_CLUSTERS_H
#define HB_TEST_SYSTEM_CLUSTERS_H

#include <string>

namespace hb_test {

// Nodes 1 to 3 are up with adapters 2 to 7, node 4 is down with adapter 8. The local node is 1; there are 8
// node slots of 2 adapters.
std::string small_cluster_file();

// A full cluster: 2049 nodes with 48 adapters each.
std::string full_cluster_file();

std::string replaced(std::string text, const std::string &what, const std::string &with);

} // namespace hb_test

#endif
