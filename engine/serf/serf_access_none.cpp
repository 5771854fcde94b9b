// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include "engine/serf/serf_access.h"

namespace wispd {

void need_serf() {
    throw std::runtime_error(
        "[source] type is \"serf\", but this program was built without Serf: use a build made with "
        "the package libmsgpack-cxx-dev");
}

std::unique_ptr<Engine> follow_serf(const Serf_Settings &) {
    need_serf();
    return nullptr;
}

} // namespace wispd
