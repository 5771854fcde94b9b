// A cluster as a cluster service sees it: nodes, and interfaces by name.
#pragma once

#include <cstddef>
#include <string>

#include "cluster/cluster.h"
#include "providers/service/picture.h"

namespace mox_service {

// The adapter's type; where that is empty, or another adapter of the node has the same, "net" and the network's
// number.
std::string interface_name(const wispd::Cluster &cluster, std::size_t adapter);

// What is in the configuration, in the order of the numbers.
Picture picture_of(const wispd::Cluster &cluster);

} // namespace mox_service
