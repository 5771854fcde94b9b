// SPDX-License-Identifier: Apache-2.0
// The default path of the daemon's socket. The daemon and the tools find it here; the library has code of its
// own with the same rules, because it includes nothing from common/.
#pragma once

#include <cstddef>
#include <string>

namespace common {

inline constexpr const char *DEFAULT_SOCKET_PATH = "/var/ha/soc/wisp/server_socket";

// The longest path that fits into a socket address.
inline constexpr std::size_t SOCKET_PATH_LONGEST = 107;

// Returns HB_SERVER_SOCKET, or the default path if it is unset. If HA_DOMAIN_NAME or else HA_SYSPAR_NAME is not
// empty, "." and its value follow. A program with more rights than its caller ignores all three.
std::string socket_path_from_environment();

} // namespace common
