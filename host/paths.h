// SPDX-License-Identifier: Apache-2.0
// Paths that a daemon derives from other paths.
#pragma once

#include <string>

namespace wispd {

// Returns the path of the control socket that belongs to a socket.
std::string control_path_for(const std::string &socket);

// Makes a relative path absolute, because a daemon leaves its working directory.
std::string absolute_path(const std::string &path);

} // namespace wispd
