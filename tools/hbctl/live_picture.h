// SPDX-License-Identifier: Apache-2.0
// The configuration together with the current states.
#pragma once

#include <optional>

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/event_record.h"

namespace hbctl {

struct Live_Picture {
    Picture picture;
    std::optional<Heartbeat> heartbeat;
};

// Opens the library, reads the configuration, and subscribes to all nodes and adapters. The daemon answers each
// subscription with a report of the present members, which gives the states. Waits for both reports. If they do
// not arrive in time, prints that on standard error and leaves the states unknown. Throws Request_Failed.
Live_Picture read_live_picture();

} // namespace hbctl
