// SPDX-License-Identifier: Apache-2.0
// Converts the cluster model to the nodes and named interfaces of a cluster service.
#pragma once

#include <cstddef>
#include <string>

#include "cluster/cluster.h"
#include "providers/service/picture.h"

namespace mox_service {

// Returns the adapter's type as its interface name. Returns "net" and the network's number if the type is empty
// or not unique on the node.
std::string interface_name(const wispd::Cluster &cluster, std::size_t adapter);

// Returns the configured nodes and interfaces in ascending order.
Picture picture_of(const wispd::Cluster &cluster);

} // namespace mox_service
