// SPDX-License-Identifier: Apache-2.0
// Decides which users' segments and semaphores the library uses. Any local user can create some under the
// keys of a socket path, for instance while the daemon is stopped.
#pragma once

#include <sys/types.h>

// True for root and for the user of the daemon at the other end of the connection. Without a connection this
// process's own user stands for the daemon's.
bool hb_is_trusted_creator(uid_t creator);
