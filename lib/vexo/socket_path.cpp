// SPDX-License-Identifier: Apache-2.0
#include "lib/vexo/socket_path.h"

#include <cstdlib>
#include <string_view>

char HB_SERVER_SOCKET[HB_SOCKET_PATH_SIZE] = "/var/ha/soc/wisp/server_socket";
char SERVER_SOCK_FNAME[HB_SOCKET_PATH_SIZE] = "";

namespace {

std::string_view environment(const char *name) {
    const char *value = secure_getenv(name);
    return value != nullptr ? value : std::string_view();
}

} // namespace

bool hb_resolve_socket_path() {
    const char *set_base = secure_getenv("HB_SERVER_SOCKET");
    const std::string_view base = set_base != nullptr ? set_base : HB_SERVER_SOCKET;
    std::string_view suffix = environment("HA_DOMAIN_NAME");
    if (suffix.empty()) {
        suffix = environment("HA_SYSPAR_NAME");
    }
    const std::size_t length = base.size() + (suffix.empty() ? 0 : 1 + suffix.size());
    if (length >= HB_SOCKET_PATH_SIZE) {
        return false;
    }
    if (set_base != nullptr) {
        HB_SERVER_SOCKET[base.copy(HB_SERVER_SOCKET, base.size())] = '\0';
    }
    std::size_t end = base.copy(SERVER_SOCK_FNAME, base.size());
    if (!suffix.empty()) {
        SERVER_SOCK_FNAME[end++] = '.';
        end += suffix.copy(SERVER_SOCK_FNAME + end, suffix.size());
    }
    SERVER_SOCK_FNAME[end] = '\0';
    return true;
}
