// SPDX-License-Identifier: Apache-2.0
// Output of `hbctl status`.
#pragma once

#include <optional>
#include <string>

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/event_record.h"

namespace hbctl {

struct Status_Report {
    std::string socket;
    int local_node = -1;
    Counts counts;
    std::optional<Heartbeat> heartbeat; // none: the daemon has not sent its settings
};

} // namespace hbctl
