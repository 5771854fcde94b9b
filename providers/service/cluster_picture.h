// A cluster as a cluster service sees it: nodes, and interfaces by name.
#ifndef MOX_SERVICE_CLUSTER_PICTURE_H
#define MOX_SERVICE_CLUSTER_PICTURE_H

#include "daemon/model/cluster.h"
#include "providers/service/picture.h"

namespace mox_service {

// What is in the configuration, in the order of the numbers. An interface's name is its adapter's type; where
// that is empty, or another adapter of the node has the same, it is "net" and the network's number.
Picture picture_of(const wispd::Cluster &cluster);

} // namespace mox_service

#endif
