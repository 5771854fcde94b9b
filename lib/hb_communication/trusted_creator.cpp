// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_communication/trusted_creator.h"

#include <sys/socket.h>
#include <unistd.h>

#include "lib/hb_communication/connection.h"

namespace {

constexpr uid_t ROOT = 0;

// The kernel recorded the user of the listening process, and no process can fake that.
uid_t daemon_user() {
    ucred daemon = {};
    socklen_t size = sizeof daemon;
    if (client_socket == nullptr ||
        getsockopt(client_socket->socket(), SOL_SOCKET, SO_PEERCRED, &daemon, &size) != 0) {
        return geteuid();
    }
    return daemon.uid;
}

} // namespace

bool hb_is_trusted_creator(uid_t creator) {
    return creator == ROOT || creator == daemon_user();
}
