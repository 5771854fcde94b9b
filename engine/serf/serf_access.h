// SPDX-License-Identifier: Apache-2.0
// Access to this machine's Serf agents, in programs that were built with it.
#pragma once

#include <memory>

#include "engine/engine.h"

namespace wispd {

// Throws std::runtime_error when this program was built without Serf.
void need_serf();
// Throws std::runtime_error when the build lacks Serf or no descriptors are available.
std::unique_ptr<Engine> follow_serf(const Serf_Settings &settings);

} // namespace wispd
