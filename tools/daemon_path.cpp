#include "tools/daemon_path.h"

#include <cstdlib>

namespace hbctl {
namespace {

std::string environment(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

} // namespace

std::string daemon_path() {
    const char *base = std::getenv("HB_SERVER_SOCKET");
    std::string path = base == nullptr ? "/var/ha/soc/wisp/server_socket" : base;
    std::string suffix = environment("HA_DOMAIN_NAME");
    if (suffix.empty()) {
        suffix = environment("HA_SYSPAR_NAME");
    }
    return suffix.empty() ? path : path + "." + suffix;
}

void use_daemon_path(const std::string &path) {
    setenv("HB_SERVER_SOCKET", path.c_str(), 1);
    unsetenv("HA_DOMAIN_NAME");
    unsetenv("HA_SYSPAR_NAME");
}

} // namespace hbctl
