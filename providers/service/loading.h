// SPDX-License-Identifier: Apache-2.0
// Helps a service that installs itself when its library is loaded.
#pragma once

#include <exception>
#include <string>
#include <unistd.h>

namespace mox_service {

// Returns true if this process is a client. A preloaded library also enters the shell or timer that starts a
// client.
bool is_in_client();

// Returns the value of an environment variable, or an empty string if it is not set.
std::string setting(const char *variable);

// Sends the log to standard error from now on, at the level in the variable or "warning". Throws
// std::runtime_error if the level is invalid.
void log_as_set(const char *variable);

// Reports on standard error that no service is installed, and why.
void refuse(const char *library, const std::string &why);

// Removes the service in forked children. Another thread may hold the service's lock during the fork, and the
// child's copy would stay locked.
void uninstall_in_children();

// Creates a library's service when a client loads it. Loading must neither fail nor end the program. A failure
// is reported, and the client continues without a service.
//
// The library is never unloaded, and its one object is static, so the destructor runs when the process ends.
// Another thread may still be in a query then, so the service itself stays.
template <typename Service> class Loaded_Service {
  public:
    // `make` returns a std::unique_ptr<Service>. The message of its exception is the reported reason.
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
    // Removes only what would outlive the process. A forked child does nothing: threads, sockets and
    // connections belong to its parent.
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
