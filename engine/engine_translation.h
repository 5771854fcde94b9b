// SPDX-License-Identifier: Apache-2.0
// Translates Corosync's view of the cluster into the model: node ids become nodes, and links become networks.
#pragma once

#include <set>
#include <stdexcept>
#include <string>

#include "cluster/cluster.h"
#include "cluster/configuration.h"
#include "engine/engine_settings.h"
#include "engine/engine_view.h"

namespace wispd {

// The members and links at the time of one poll.
struct Engine_Look {
    const Engine_Members &members;
    const Engine_Links &links;
};

// The error for a Corosync node that does not fit into the model; what() names the node and what to do.
class Engine_Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Returns the node's number: the one in wispd's file, or else its id. Throws Engine_Refused.
int node_number(uint32_t id, const Engine_Names &names);

// Returns a configuration in which every adapter is down; liveness is reported separately. Resolves host names:
// an adapter has no address when that fails. Throws Engine_Refused.
Configuration translate(const Engine_Configuration &engine, const Engine_Names &names);

// Returns which members are up, and which of them failed and recovered between two polls. The local node's
// adapters are up on the given links, because Corosync has no link to itself.
Liveness translate(const Engine_Configuration &engine, const Engine_Names &names, const Engine_Look &now,
                   const Engine_Look &before, const std::set<int> &local_links);

} // namespace wispd
