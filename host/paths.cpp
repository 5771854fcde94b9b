// SPDX-License-Identifier: Apache-2.0
#include "host/paths.h"

#include <filesystem>

namespace wispd {

std::string control_path_for(const std::string &socket) {
    return socket + ".control";
}

std::string absolute_path(const std::string &path) {
    return path.empty() || path.front() == '/' ? path
                                               : std::filesystem::absolute(path).lexically_normal().string();
}

} // namespace wispd
