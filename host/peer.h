// SPDX-License-Identifier: Apache-2.0
// The process at the other end of a connection, as the system reports it, and what it is permitted to do.
#pragma once

#include <sys/types.h>
#include <vector>

namespace wispd {

struct Peer {
    pid_t pid = 0;
    uid_t uid = static_cast<uid_t>(-1); // -1: the system did not report it
    gid_t gid = static_cast<gid_t>(-1);
    std::vector<gid_t> groups; // the supplementary groups
};

// Returns the process that connected, with the identity it had at that time.
Peer peer_of(int socket);

// Returns whether the process runs as root or as the daemon's own user.
bool is_trusted(const Peer &peer, uid_t own);

// Returns whether the process is trusted or a member of the group; a `group` of -1 has no members.
bool is_authorised(const Peer &peer, uid_t own, gid_t group);

} // namespace wispd
