// The interfaces of this machine as the kernel tells of them over netlink.
#ifndef WISPD_NETLINK_INTERFACES_H
#define WISPD_NETLINK_INTERFACES_H

#include <memory>

#include "engine/local_interfaces.h"

namespace wispd {

// Throws std::system_error.
std::unique_ptr<Local_Interfaces> watch_interfaces();

} // namespace wispd

#endif
