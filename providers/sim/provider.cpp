// libqz_mox_sim.so: a client that loads it has the simulated cluster service, for as long as it is loaded.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include "daemon/log.h"
#include "providers/sim/cluster_player.h"
#include "qz_mox.h"

namespace {

std::string setting(const char *name) {
    const char *value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string log_level() {
    constexpr std::array<std::string_view, 4> levels = {"debug", "info", "warning", "error"};
    const std::string level = setting("HB_MOX_SIM_LOG");
    if (level.empty()) {
        return "warning";
    }
    if (std::find(levels.begin(), levels.end(), level) == levels.end()) {
        throw std::runtime_error("HB_MOX_SIM_LOG is \"" + level + "\"; expected debug, info, warning or error");
    }
    return level;
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

    // A forked child has no part in it: neither the thread nor the control socket are the child's.
    ~Provider() {
        if (getpid() == owner_) {
            delete player_;
        }
    }
    Provider(const Provider &) = delete;
    Provider &operator=(const Provider &) = delete;

  private:
    void start() {
        const mox_sim::Play play = {setting("HB_MOX_SIM_CONFIG"), setting("HB_MOX_SIM_CONTROL")};
        if (play.config.empty()) {
            refuse("HB_MOX_SIM_CONFIG names no cluster file");
            return;
        }
        wispd::log_to_stderr();
        wispd::set_log_level(log_level());
        player_ = new mox_sim::Cluster_Player(play);
        // The service's lock may be held by its thread at the moment of a fork, and stays so in the child.
        pthread_atfork(nullptr, nullptr, [] { qz_mox_install_service(nullptr); });
    }

    const pid_t owner_ = getpid();
    mox_sim::Cluster_Player *player_ = nullptr;
};

const Provider provider;

} // namespace
