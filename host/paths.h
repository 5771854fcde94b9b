// Paths as a daemon needs them.
#pragma once

#include <string>

namespace wispd {

// The control socket that belongs to a socket.
std::string control_path_for(const std::string &socket);

// A relative path under the working directory, since a daemon leaves that.
std::string absolute_path(const std::string &path);

} // namespace wispd
