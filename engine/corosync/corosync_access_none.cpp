// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include "engine/corosync/corosync_access.h"

namespace wispd {

void need_corosync() {
    throw std::runtime_error("[source] type is \"corosync\", but this program was built without Corosync: use "
                             "the build for the machine's native ABI, made with the packages libcmap-dev, "
                             "libquorum-dev, libcfg-dev, libcpg-dev and libnl-route-3-dev");
}

std::unique_ptr<Engine> follow_corosync(const Corosync_Settings &) {
    need_corosync();
    return nullptr;
}

} // namespace wispd
