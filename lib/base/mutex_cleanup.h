// SPDX-License-Identifier: Apache-2.0
// Clean-up for a thread that is cancelled while it holds a mutex.
#pragma once

// Unlocks the given pthread_mutex_t, so that a cancelled thread leaves nothing locked.
void mutex_cleanup_handler(void *mutex);
