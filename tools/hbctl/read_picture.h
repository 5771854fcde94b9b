// SPDX-License-Identifier: Apache-2.0
// Reads the configuration from the library. The library answers from memory without asking the daemon, so this
// may be called while waiting for events.
#pragma once

#include "tools/hbctl/cluster_picture.h"

namespace hbctl {

// All states are unknown afterwards. Throws Request_Failed.
Picture read_picture();

} // namespace hbctl
