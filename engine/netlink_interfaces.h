// The interfaces of this machine as the kernel tells of them over netlink.
#pragma once

#include <memory>

#include "engine/local_interfaces.h"

namespace wispd {

// Throws std::system_error.
std::unique_ptr<Local_Interfaces> watch_interfaces();

} // namespace wispd
