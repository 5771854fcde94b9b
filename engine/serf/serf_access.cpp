// SPDX-License-Identifier: Apache-2.0
#include "engine/serf/serf_access.h"

#include "engine/serf/serf_engine.h"

namespace wispd {

void need_serf() {}

std::unique_ptr<Engine> follow_serf(const Serf_Settings &settings) {
    return std::make_unique<Serf_Engine>(settings);
}

} // namespace wispd
