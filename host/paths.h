// Where the daemon's sockets are, when nothing says otherwise: the rules that clients follow as well.
#ifndef WISPD_PATHS_H
#define WISPD_PATHS_H

#include <string>

namespace wispd {

// HB_SERVER_SOCKET or the default, with "." and HA_DOMAIN_NAME or HA_SYSPAR_NAME behind it.
std::string socket_path_from_environment();

// The control socket that belongs to a socket.
std::string control_path_for(const std::string &socket);

// A relative path under the working directory, since a daemon leaves that.
std::string absolute_path(const std::string &path);

} // namespace wispd

#endif
