// SPDX-License-Identifier: Apache-2.0
#include "engine/corosync/corosync_access.h"

#include "engine/corosync/corosync_connection.h"
#include "engine/corosync/corosync_follower.h"
#include "engine/corosync/netlink_interfaces.h"

namespace wispd {

void need_corosync() {}

std::unique_ptr<Engine> follow_corosync(const Corosync_Settings &settings) {
    return std::make_unique<Corosync_Follower>(settings, connect_to_corosync, watch_interfaces());
}

} // namespace wispd
