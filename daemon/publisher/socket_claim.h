// Finds a socket file whose inode gives keys that nobody uses.
//
// Any local user can make segments and semaphores under keys of inodes that are not in use yet. Each socket that turns
// out to have such keys stays, and more and more files with it, so that the next one gets an inode further on.
#pragma once

#include <string>

#include "daemon/publisher/instance_lock.h"
#include "daemon/publisher/shared_segments.h"
#include "host/socket_file.h"

namespace wispd {

struct Claimed_Socket {
    Socket_File file;
    Shared_Segments segments;
};

// The lock's record names what is being made before it is there. Throws Start_Failure.
Claimed_Socket claim_socket(const std::string &path, const Access &access, Instance_Lock &lock);

} // namespace wispd
