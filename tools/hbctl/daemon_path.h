// The path of the daemon's socket, as the library resolves it.
#pragma once

#include <string>

namespace hbctl {

// The longest path that a local socket can have.
constexpr std::size_t longest_socket_path = 107;

// Resolves it from HB_SERVER_SOCKET, HA_DOMAIN_NAME and HA_SYSPAR_NAME.
std::string daemon_path();

// Makes the library use exactly this path. Throws std::runtime_error in a program with more rights than its
// caller, because the library reads no environment there.
void use_daemon_path(const std::string &path);

} // namespace hbctl
