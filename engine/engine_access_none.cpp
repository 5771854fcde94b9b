#include "engine/engine_access.h"

namespace wispd {

void need_engine_access() {
    throw std::runtime_error("[source] type is \"corosync\", and this program was built without Corosync: take "
                             "the one of the machine's own ABI, built where the packages libcmap-dev, "
                             "libquorum-dev, libcfg-dev, libcpg-dev and libnl-route-3-dev are installed");
}

std::unique_ptr<Engine_Follower> follow_engine(const Engine_Settings &) {
    need_engine_access();
    return nullptr;
}

} // namespace wispd
