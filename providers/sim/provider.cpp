// libqz_mox_sim.so: a client that loads it has the simulated cluster service, for as long as it is loaded.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include <dlfcn.h>

#include "daemon/log.h"
#include "providers/sim/cluster_player.h"

namespace {

std::string setting(const char *name) {
    const char *value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string log_level() {
    constexpr std::array<std::string_view, 4> levels = {"debug", "info", "warning", "error"};
    const std::string level = setting("HB_MOX_SIM_LOG");
    return std::find(levels.begin(), levels.end(), level) != levels.end() ? level : "warning";
}

// A preloaded library also comes into the shell or the timer that a client is started from; those are none.
bool is_in_client() {
    void *library = dlopen("libhb_client.so", RTLD_LAZY | RTLD_NOLOAD);
    if (library != nullptr) {
        dlclose(library);
    }
    return library != nullptr;
}

void refuse(const std::string &why) {
    std::fprintf(stderr, "libqz_mox_sim: no cluster service is installed: %s\n", why.c_str());
}

// Loading must not fail, nor end the program.
class Provider {
  public:
    Provider() noexcept {
        try {
            if (is_in_client()) {
                start();
            }
        } catch (const std::exception &error) {
            refuse(error.what());
        }
    }

  private:
    void start() {
        const mox_sim::Play play = {setting("HB_MOX_SIM_CONFIG"), setting("HB_MOX_SIM_CONTROL")};
        if (play.config.empty()) {
            refuse("HB_MOX_SIM_CONFIG names no cluster file");
            return;
        }
        wispd::log_to_stderr();
        wispd::set_log_level(log_level());
        player_.emplace(play);
    }

    std::optional<mox_sim::Cluster_Player> player_;
};

const Provider provider;

} // namespace
