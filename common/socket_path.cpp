// SPDX-License-Identifier: Apache-2.0
#include "common/socket_path.h"

#include <cstdlib>
#include <sys/un.h>

namespace common {

static_assert(SOCKET_PATH_LONGEST == sizeof(sockaddr_un::sun_path) - 1);

namespace {

std::string variable(const char *name) {
    const char *value = secure_getenv(name);
    return value == nullptr ? "" : value;
}

} // namespace

std::string socket_path_from_environment() {
    const char *base = secure_getenv("HB_SERVER_SOCKET");
    const std::string path = base == nullptr ? DEFAULT_SOCKET_PATH : base;
    for (const char *name : {"HA_DOMAIN_NAME", "HA_SYSPAR_NAME"}) {
        const std::string suffix = variable(name);
        if (!suffix.empty()) {
            return path + "." + suffix;
        }
    }
    return path;
}

} // namespace common
