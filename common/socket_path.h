// The daemon's socket path, by the library's rules, for programs that print it or do not use the library.
#pragma once

#include <cstddef>
#include <string>

namespace common {

inline constexpr const char *DEFAULT_SOCKET_PATH = "/var/ha/soc/wisp/server_socket";

// The longest path that fits into a socket address.
inline constexpr std::size_t SOCKET_PATH_LONGEST = 107;

// Returns HB_SERVER_SOCKET or the default path, followed by "." and HA_DOMAIN_NAME or HA_SYSPAR_NAME.
std::string socket_path_from_environment();

} // namespace common
