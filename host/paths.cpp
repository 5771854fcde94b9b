#include "host/paths.h"

#include <cstdlib>
#include <filesystem>

namespace wispd {

namespace {

std::string variable(const char *name) {
    const char *value = secure_getenv(name);
    return value == nullptr ? "" : value;
}

} // namespace

std::string socket_path_from_environment() {
    const char *base = secure_getenv("HB_SERVER_SOCKET");
    const std::string path = base == nullptr ? "/var/ha/soc/wisp/server_socket" : base;
    for (const char *name : {"HA_DOMAIN_NAME", "HA_SYSPAR_NAME"}) {
        const std::string suffix = variable(name);
        if (!suffix.empty()) {
            return path + "." + suffix;
        }
    }
    return path;
}

std::string control_path_for(const std::string &socket) {
    return socket + ".control";
}

std::string absolute_path(const std::string &path) {
    return path.empty() || path.front() == '/' ? path
                                               : std::filesystem::absolute(path).lexically_normal().string();
}

} // namespace wispd
