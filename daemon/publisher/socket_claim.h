// SPDX-License-Identifier: Apache-2.0
// Creates a socket file with an inode that leads to unused keys.
//
// Any local user can create segments and semaphores under the keys of free inodes. A socket with such keys is
// kept aside, together with more and more placeholder files. The next socket then receives a later inode.
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

// Claims the socket. The lock's record names each object before its creation. Throws Start_Failure.
Claimed_Socket claim_socket(const std::string &path, const Access &access, Instance_Lock &lock);

} // namespace wispd
