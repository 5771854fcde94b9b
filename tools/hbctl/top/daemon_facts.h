// SPDX-License-Identifier: Apache-2.0
// Reads what the daemon publishes about itself beside its socket.
#pragma once

#include <optional>

#include "tools/hbctl/top/top_model.h"

namespace hbctl {

// Returns nothing if the daemon publishes nothing, or nothing that this user may read. All texts are printable.
std::optional<Daemon_Facts> read_daemon_facts();

} // namespace hbctl
