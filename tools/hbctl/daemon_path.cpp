// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/daemon_path.h"

#include <cstdlib>
#include <stdexcept>
#include <sys/auxv.h>

#include "common/socket_path.h"

namespace hbctl {
void use_daemon_path(const std::string &path) {
    if (getauxval(AT_SECURE) != 0) {
        throw std::runtime_error(
            "--socket cannot be used when hbctl has more rights than its caller; the path is " +
            common::socket_path_from_environment());
    }
    setenv("HB_SERVER_SOCKET", path.c_str(), 1);
    unsetenv("HA_DOMAIN_NAME");
    unsetenv("HA_SYSPAR_NAME");
}

} // namespace hbctl
