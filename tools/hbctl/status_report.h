// Output of `hbctl status`.
#pragma once

#include <optional>
#include <string>

#include "common/cluster_file.h"
#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/event_record.h"
#include "tools/hbctl/plain_text.h"

namespace hbctl {

struct Status_Report {
    std::string socket;
    int local_node = -1;
    Counts counts;
    std::optional<Heartbeat> heartbeat; // none: the daemon has not sent its settings
    std::string local_name{};           // empty: not known
    std::optional<common::Cluster_File> daemon{};
    Wall_Time now{}; // for the uptime
};

} // namespace hbctl
