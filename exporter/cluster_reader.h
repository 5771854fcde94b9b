// SPDX-License-Identifier: Apache-2.0
// Reads the configuration from the library, which answers from memory without asking the daemon.
#pragma once

#include <memory>

#include "exporter/snapshot.h"

namespace exporter {

// Returns null if the library fails; hb_get_errno() then has the reason.
std::shared_ptr<const Cluster> read_cluster();

} // namespace exporter
