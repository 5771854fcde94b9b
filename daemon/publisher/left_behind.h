// What a killed wispd left behind.
#pragma once

#include "daemon/publisher/instance_lock.h"

namespace wispd {

// Removes the segments and semaphores that the record's process made, as far as that can be proven; gives how many
// objects. A process that keeps a segment of it attached keeps neither keys nor valid routes.
int remove_left_behind(const Ipc_Record &record);

} // namespace wispd
