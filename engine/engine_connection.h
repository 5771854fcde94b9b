// The connection to the Corosync engine of this node, over its map, its quorum and its control.
#pragma once

#include <memory>

#include "engine/engine.h"

namespace wispd {

// Connects, asks to be told what happens, and waits until the members have been told. Throws Engine_Gone.
std::unique_ptr<Engine> connect_to_engine();

} // namespace wispd
