// What an operation changed, in lines of the log.
#pragma once

#include <string>

#include "cluster/cluster.h"

namespace wispd {

// `failure_id` goes with the deaths.
void log_changes(const Changes &changes, const std::string &failure_id, const Cluster &cluster);

} // namespace wispd
