// SPDX-License-Identifier: Apache-2.0
// Chooses the engine that the settings name.
#pragma once

#include <memory>

#include "engine/engine.h"

namespace wispd {

// Throws std::runtime_error when this program was built without access to that engine.
void need_engine_access(const Engine_Settings &settings);
// Creates an engine. Throws std::runtime_error when the build lacks it or no descriptors are available.
std::unique_ptr<Engine> follow_engine(const Engine_Settings &settings);

} // namespace wispd
