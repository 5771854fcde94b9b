// SPDX-License-Identifier: Apache-2.0
#include "engine/engine_access.h"

#include "engine/engine_connection.h"
#include "engine/netlink_interfaces.h"

namespace wispd {

void need_engine_access() {}

std::unique_ptr<Engine_Follower> follow_engine(const Engine_Settings &settings) {
    return std::make_unique<Engine_Follower>(settings, connect_to_engine, watch_interfaces());
}

} // namespace wispd
