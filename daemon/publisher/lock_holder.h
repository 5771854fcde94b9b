// SPDX-License-Identifier: Apache-2.0
// Finds the processes that hold a lock on a file, as the system lists them.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace wispd {

struct Lock_Holder {
    pid_t pid = 0;
    // Empty if the process is hidden, or has ended and left the lock to a child.
    std::string command;
    std::vector<uid_t> users; // real, effective, saved; empty in the same cases

    // Returns true if the process could be another wispd. It then runs only as root or as this process's user,
    // or its users are unknown.
    bool may_be_wispd() const;
};

// Returns for example "process id 4711 (sh) of user 1000".
std::string description(const Lock_Holder &holder);

// Returns an empty list if the system lists no holder, for example a holder in another process-id namespace.
std::vector<Lock_Holder> lock_holders(int file);

} // namespace wispd
