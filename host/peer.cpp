// SPDX-License-Identifier: Apache-2.0
#include "host/peer.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>

#include "host/trusted_user.h"

namespace wispd {

namespace {

constexpr std::size_t GROUPS_AT_FIRST = 64;

std::vector<gid_t> groups_of(int socket) {
    std::vector<gid_t> groups(GROUPS_AT_FIRST);
    auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    while (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) != 0) {
        if (errno != ERANGE || size <= groups.size() * sizeof(gid_t)) {
            return {};
        }
        groups.resize(size / sizeof(gid_t));
    }
    groups.resize(size / sizeof(gid_t));
    return groups;
}

} // namespace

Peer peer_of(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return {};
    }
    return {credentials.pid, credentials.uid, credentials.gid, groups_of(socket)};
}

bool is_trusted(const Peer &peer, uid_t own) {
    return peer.uid != static_cast<uid_t>(-1) && is_trusted_user(peer.uid, own);
}

bool is_authorised(const Peer &peer, uid_t own, gid_t group) {
    if (is_trusted(peer, own)) {
        return true;
    }
    const bool may_be_member = peer.uid != static_cast<uid_t>(-1) && group != static_cast<gid_t>(-1);
    return may_be_member &&
           (peer.gid == group || std::find(peer.groups.begin(), peer.groups.end(), group) != peer.groups.end());
}

} // namespace wispd
