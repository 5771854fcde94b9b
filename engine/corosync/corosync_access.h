// SPDX-License-Identifier: Apache-2.0
// Access to this machine's Corosync, in programs that were built with it.
#pragma once

#include <memory>

#include "engine/engine.h"

namespace wispd {

// Throws std::runtime_error when this program was built without Corosync.
void need_corosync();
// Throws std::runtime_error when the build lacks Corosync or no descriptors are available.
std::unique_ptr<Engine> follow_corosync(const Corosync_Settings &settings);

} // namespace wispd
