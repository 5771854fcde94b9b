// SPDX-License-Identifier: Apache-2.0
// Removes the segments and semaphores that a killed wispd left behind.
#pragma once

#include "daemon/publisher/instance_lock.h"

namespace wispd {

// Removes the objects that the record's process provably created, and returns their number. A process that
// still has a segment attached keeps neither keys nor valid routes.
int remove_left_behind(const Ipc_Record &record);

} // namespace wispd
