// SPDX-License-Identifier: Apache-2.0
// Logs what an operation changed in the cluster.
#pragma once

#include <string>

#include "cluster/cluster.h"

namespace wispd {

// Logs one line for each kind of change. `failure_id` is logged with the deaths.
void log_changes(const Changes &changes, const std::string &failure_id, const Cluster &cluster);

} // namespace wispd
