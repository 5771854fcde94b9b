// SPDX-License-Identifier: Apache-2.0
// Translates Corosync's view of the cluster into the model: node ids become nodes, and links become networks.
#pragma once

#include <set>
#include <stdexcept>
#include <string>

#include "cluster/cluster.h"
#include "cluster/configuration.h"
#include "engine/corosync/corosync_view.h"
#include "engine/engine_settings.h"

namespace wispd {

// The members and links at the time of one poll.
struct Corosync_Look {
    const Corosync_Members &members;
    const Corosync_Links &links;
};

// The error for a Corosync node that does not fit into the model; what() names the node and what to do.
class Corosync_Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Returns the node's number: the one in wispd's file, or else its id. Throws Corosync_Refused.
int node_number(uint32_t id, const Corosync_Names &names);

// Returns a configuration in which every adapter is down; liveness is reported separately. Resolves host names:
// an adapter has no address when that fails. Throws Corosync_Refused.
Configuration translate(const Corosync_Configuration &engine, const Corosync_Names &names);

// Returns which members are up, and which of them failed and recovered between two polls. The local node's
// adapters are up on the given links, because Corosync has no link to itself.
Liveness translate(const Corosync_Configuration &engine, const Corosync_Names &names, const Corosync_Look &now,
                   const Corosync_Look &before, const std::set<int> &local_links);

} // namespace wispd
