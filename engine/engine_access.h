// This machine's engine, where wispd was built with one.
#pragma once

#include <memory>

#include "engine/engine_follower.h"

namespace wispd {

// Throws std::runtime_error where this program was built without one.
void need_engine_access();
// Throws std::runtime_error: there is no engine in this build, or no descriptors are to be had.
std::unique_ptr<Engine_Follower> follow_engine(const Engine_Settings &settings);

} // namespace wispd
