#include "tools/hbctl/daemon_path.h"

#include <cstdlib>
#include <stdexcept>

#include <sys/auxv.h>

namespace hbctl {
namespace {

std::string environment(const char *name) {
    const char *value = secure_getenv(name);
    return value == nullptr ? "" : value;
}

} // namespace

std::string daemon_path() {
    const char *base = secure_getenv("HB_SERVER_SOCKET");
    std::string path = base == nullptr ? "/var/ha/soc/wisp/server_socket" : base;
    std::string suffix = environment("HA_DOMAIN_NAME");
    if (suffix.empty()) {
        suffix = environment("HA_SYSPAR_NAME");
    }
    return suffix.empty() ? path : path + "." + suffix;
}

void use_daemon_path(const std::string &path) {
    if (getauxval(AT_SECURE) != 0) {
        throw std::runtime_error(
            "--socket cannot be used when hbctl has more rights than its caller; the path is " + daemon_path());
    }
    setenv("HB_SERVER_SOCKET", path.c_str(), 1);
    unsetenv("HA_DOMAIN_NAME");
    unsetenv("HA_SYSPAR_NAME");
}

} // namespace hbctl
