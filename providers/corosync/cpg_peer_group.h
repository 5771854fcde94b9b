// The group of peers as a closed process group of Corosync.
#pragma once

#include <string>

#include "providers/corosync/peer_group.h"

namespace mox_corosync {

// Peers are the programs that join by the same name. Throws std::invalid_argument: the name is too long.
Peer_Join join_peers_called(const std::string &name);

} // namespace mox_corosync
