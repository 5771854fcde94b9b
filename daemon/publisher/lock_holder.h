// Which process holds a lock on a file, as the system lists it.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace wispd {

struct Lock_Holder {
    pid_t pid = 0;
    std::string command;      // empty when the process has ended and left the lock to a child, or is hidden
    std::vector<uid_t> users; // real, effective, saved; empty in the same cases

    // Whether it could be another wispd: it runs as root or as this process's user throughout, or nobody can say.
    bool may_be_wispd() const;
};

// "process id 4711 (sh) of user 1000"
std::string description(const Lock_Holder &holder);

// Empty when no holder is listed, as for one of another process-id namespace.
std::vector<Lock_Holder> lock_holders(int file);

} // namespace wispd
