#include "daemon/publisher/peer.h"

#include <algorithm>
#include <cerrno>

#include <sys/socket.h>

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

bool may_act(const Peer &peer, uid_t own, gid_t group) {
    if (peer.uid == static_cast<uid_t>(-1)) {
        return false;
    }
    if (peer.uid == 0 || peer.uid == own) {
        return true;
    }
    const bool has_group = group != static_cast<gid_t>(-1);
    return has_group &&
           (peer.gid == group || std::find(peer.groups.begin(), peer.groups.end(), group) != peer.groups.end());
}

} // namespace wispd
