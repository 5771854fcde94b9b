// What a service that installs itself when its library is loaded needs for that.
#ifndef MOX_SERVICE_LOADING_H
#define MOX_SERVICE_LOADING_H

#include <string>

namespace mox_service {

// A preloaded library also comes into the shell or the timer that a client is started from; those are none.
bool is_in_client();

// What the environment says; empty where it says nothing.
std::string setting(const char *variable);

// From here on the daemon's log goes to standard error, from the level that the variable names, or "warning".
// Throws std::runtime_error: it names none.
void log_as_set(const char *variable);

// A service's lock may be held by another thread at the moment of a fork, and stays so in the child.
void uninstall_in_children();

} // namespace mox_service

#endif
