// SPDX-License-Identifier: Apache-2.0
// The connection to the Corosync engine of this node, over its map, quorum and configuration services.
#pragma once

#include <memory>

#include "engine/corosync/corosync.h"

namespace wispd {

// Connects, subscribes to changes, and waits until Corosync has reported its members. Throws Engine_Gone.
std::unique_ptr<Corosync> connect_to_corosync();

} // namespace wispd
