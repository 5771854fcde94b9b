// SPDX-License-Identifier: Apache-2.0
// Decides which users are trusted: their files, processes and connections are treated as the daemon's own.
#pragma once

#include <sys/types.h>
#include <unistd.h>

namespace wispd {

// Returns true for root and for the user that the daemon runs as.
inline bool is_trusted_user(uid_t user, uid_t own = geteuid()) {
    return user == 0 || user == own;
}

} // namespace wispd
