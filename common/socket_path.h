// Where the daemon's socket is: the rules of the library, for the programs that do not use it or print the path.
#pragma once

#include <cstddef>
#include <string>

namespace common {

inline constexpr const char *DEFAULT_SOCKET_PATH = "/var/ha/soc/wisp/server_socket";

// The longest path that fits into a socket's address.
inline constexpr std::size_t SOCKET_PATH_LONGEST = 107;

// HB_SERVER_SOCKET or the default, with "." and HA_DOMAIN_NAME or HA_SYSPAR_NAME behind it.
std::string socket_path_from_environment();

} // namespace common
