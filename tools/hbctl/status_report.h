// Output of `hbctl status`.
#pragma once

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/event_record.h"

#include <optional>
#include <string>

namespace hbctl {

struct StatusReport {
    std::string socket;
    int local_node = -1;
    Counts counts;
    std::optional<Heartbeat> heartbeat; // none: the daemon has not sent its settings
};

} // namespace hbctl
