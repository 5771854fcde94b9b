// SPDX-License-Identifier: Apache-2.0
// What a log line is about. The journal stores it beside the line, so that readers can select lines.
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace wispd {

// A member that is empty or 0 is not stored.
struct Log_Fields {
    std::string event = {};          // HB_EVENT
    std::vector<int64_t> nodes = {}; // HB_NODE, once for each node
    std::string failure_id = {};     // HB_FFDC
    pid_t client_pid = 0;            // HB_CLIENT_PID
};

} // namespace wispd
