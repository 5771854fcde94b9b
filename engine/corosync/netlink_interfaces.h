// SPDX-License-Identifier: Apache-2.0
// The network interfaces of this machine, as the kernel reports them over netlink.
#pragma once

#include <memory>

#include "engine/corosync/local_interfaces.h"

namespace wispd {

// Starts to follow the interfaces. Throws std::system_error.
std::unique_ptr<Local_Interfaces> watch_interfaces();

} // namespace wispd
