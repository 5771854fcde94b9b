// SPDX-License-Identifier: Apache-2.0
// Wakes the reader of the event pipe.
#pragma once

#include "hb_client.h"

// Writes one byte of value 1 if events are queued, and otherwise restarts the sequence. errno is that of the
// write. Errors: HB_ERROR_WAKE_UP_FAILED (59) the byte could not be written.
Hb_Rc MOX_write_to_event_pipe();

// Fills a new event pipe like the one that it replaces. Each queued message needs a byte of its own, because
// no byte follows a message that is no news. All other events share one byte.
void MOX_wake_for_queued_events();

// Writes one byte to a pipe and returns the result of write: 1, or -1 with errno (EBADF for a descriptor of
// -1).
int MOX_write_byte(int fd, char byte);
