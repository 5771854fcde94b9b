// libqz_mox_sim.so: a client that loads it has the simulated cluster service, for as long as it is loaded.
#include <cstdio>
#include <exception>
#include <string>

#include <unistd.h>

#include "providers/service/loading.h"
#include "providers/sim/cluster_player.h"

namespace {

void refuse(const std::string &why) {
    std::fprintf(stderr, "libqz_mox_sim: no cluster service is installed: %s\n", why.c_str());
}

// Loading must not fail, nor end the program.
class Provider {
  public:
    Provider() noexcept {
        try {
            if (mox_service::is_in_client()) {
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
        const mox_sim::Play play = {mox_service::setting("HB_MOX_SIM_CONFIG"),
                                    mox_service::setting("HB_MOX_SIM_CONTROL")};
        if (play.config.empty()) {
            refuse("HB_MOX_SIM_CONFIG names no cluster file");
            return;
        }
        mox_service::log_as_set("HB_MOX_SIM_LOG");
        player_ = new mox_sim::Cluster_Player(play);
        mox_service::uninstall_in_children();
    }

    const pid_t owner_ = getpid();
    mox_sim::Cluster_Player *player_ = nullptr;
};

const Provider provider;

} // namespace
