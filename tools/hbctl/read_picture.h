// Reads the configuration from the library. The answers are at hand in this process: nothing is asked of the
// daemon, so it may be called while events are awaited.
#pragma once

#include "tools/hbctl/cluster_picture.h"

namespace hbctl {

// Every state is unknown. Throws RequestFailed.
Picture read_picture();

} // namespace hbctl
