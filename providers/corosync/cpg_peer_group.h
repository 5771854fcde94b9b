// SPDX-License-Identifier: Apache-2.0
// The group of peers as a closed process group of Corosync.
#pragma once

#include <string>

#include "providers/corosync/peer_group.h"

namespace mox_corosync {

// Returns a function that joins the group. Programs that join with the same name are peers. Throws
// std::invalid_argument if the name is too long.
Peer_Join join_peers_called(const std::string &name);

} // namespace mox_corosync
