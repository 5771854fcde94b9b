// SPDX-License-Identifier: Apache-2.0
#include "providers/service/loading.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <pthread.h>
#include <stdexcept>
#include <string_view>

#include "common/printable.h"
#include "host/log.h"
#include "qz_mox.h"

namespace mox_service {

bool is_in_client() {
    void *library = dlopen("libhb_client.so", RTLD_LAZY | RTLD_NOLOAD);
    if (library != nullptr) {
        dlclose(library);
    }
    return library != nullptr;
}

std::string setting(const char *variable) {
    const char *value = secure_getenv(variable);
    return value != nullptr ? value : "";
}

void log_as_set(const char *variable) {
    constexpr std::array<std::string_view, 4> levels = {"debug", "info", "warning", "error"};
    const std::string level = setting(variable);
    if (!level.empty() && std::find(levels.begin(), levels.end(), level) == levels.end()) {
        throw std::runtime_error(std::string(variable) + " is \"" + level +
                                 "\"; expected debug, info, warning or error");
    }
    wispd::log_to_stderr();
    wispd::set_log_level(level.empty() ? "warning" : level);
}

void refuse(const char *library, const std::string &why) {
    std::fprintf(stderr, "%s: no cluster service is installed: %s\n", library,
                 terminal::printable(why).c_str());
}

void uninstall_in_children() {
    pthread_atfork(nullptr, nullptr, [] { qz_mox_install_service(nullptr); });
}

} // namespace mox_service
