// The configuration together with the states of the moment.
#pragma once

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/event_record.h"

#include <optional>

namespace hbctl {

struct LivePicture {
    Picture picture;
    std::optional<Heartbeat> heartbeat;
};

// Opens the library and reads the configuration; then subscribes to all nodes and adapters, for the states come
// with the daemon's account of the present members, and waits for both accounts. When they do not come in time
// it says so on standard error and the states stay unknown. Throws RequestFailed.
LivePicture read_live_picture();

} // namespace hbctl
