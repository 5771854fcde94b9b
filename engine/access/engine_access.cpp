// SPDX-License-Identifier: Apache-2.0
#include "engine/access/engine_access.h"

#include <variant>

#include "engine/corosync/corosync_access.h"
#include "engine/serf/serf_access.h"

namespace wispd {
namespace {

struct Need {
    void operator()(const Corosync_Settings &) const { need_corosync(); }
    void operator()(const Serf_Settings &) const { need_serf(); }
};

struct Follow {
    std::unique_ptr<Engine> operator()(const Corosync_Settings &settings) const {
        return follow_corosync(settings);
    }
    std::unique_ptr<Engine> operator()(const Serf_Settings &settings) const { return follow_serf(settings); }
};

} // namespace

void need_engine_access(const Engine_Settings &settings) {
    std::visit(Need(), settings);
}

std::unique_ptr<Engine> follow_engine(const Engine_Settings &settings) {
    return std::visit(Follow(), settings);
}

} // namespace wispd
