// SPDX-License-Identifier: Apache-2.0
#include "engine/engine_access.h"

namespace wispd {

void need_engine_access() {
    throw std::runtime_error("[source] type is \"corosync\", but this program was built without Corosync: use "
                             "the build for the machine's native ABI, made with the packages libcmap-dev, "
                             "libquorum-dev, libcfg-dev, libcpg-dev and libnl-route-3-dev");
}

std::unique_ptr<Engine_Follower> follow_engine(const Engine_Settings &) {
    need_engine_access();
    return nullptr;
}

} // namespace wispd
