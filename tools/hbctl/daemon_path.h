// Where the daemon's socket is, as the library will look for it.
#pragma once

#include <string>

namespace hbctl {

// The longest path that a local socket can have.
constexpr std::size_t longest_socket_path = 107;

// From HB_SERVER_SOCKET, HA_DOMAIN_NAME and HA_SYSPAR_NAME.
std::string daemon_path();

// Makes the library use exactly this path. Throws std::runtime_error in a program with more rights than its caller: the
// library reads no environment there.
void use_daemon_path(const std::string &path);

} // namespace hbctl
