// What a service that installs itself when its library is loaded needs for that.
#pragma once

#include <exception>
#include <string>
#include <unistd.h>

namespace mox_service {

// A preloaded library also comes into the shell or the timer that a client is started from; those are none.
bool is_in_client();

// What the environment says; empty where it says nothing.
std::string setting(const char *variable);

// From here on the daemon's log goes to standard error, from the level that the variable names, or "warning".
// Throws std::runtime_error: it names none.
void log_as_set(const char *variable);

// Says on standard error that there is none.
void refuse(const char *library, const std::string &why);

// The service's lock may be held by another thread at the moment of a fork, and stays so in the child.
void uninstall_in_children();

// The service of a library, made when a client loads it. Loading must not fail, nor end the program: that it cannot
// be made is said, and the client goes on without.
//
// The library is linked so that it is never unloaded, and its one object is static: its destructor runs when the process
// ends. Another thread may then still be in a query, so that the service itself stays.
template <typename Service> class Loaded_Service {
  public:
    // make() gives a std::unique_ptr<Service>; what it throws says why there is none.
    template <typename Make> Loaded_Service(const char *library, Make make) noexcept {
        try {
            if (is_in_client()) {
                service_ = make().release();
                uninstall_in_children();
            }
        } catch (const std::exception &error) {
            refuse(library, error.what());
        }
    }
    // Only what would outlive the process is removed. A forked child has no part in it: threads, sockets and
    // connections are its parent's.
    ~Loaded_Service() {
        if constexpr (requires { service_->leave(); }) {
            if (service_ != nullptr && getpid() == owner_) {
                service_->leave();
            }
        }
    }
    Loaded_Service(const Loaded_Service &) = delete;
    Loaded_Service &operator=(const Loaded_Service &) = delete;

  private:
    const pid_t owner_ = getpid();
    Service *service_ = nullptr;
};

} // namespace mox_service
