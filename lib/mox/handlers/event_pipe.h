// Waking whoever reads the event pipe.
#ifndef MOX_EVENT_PIPE_H
#define MOX_EVENT_PIPE_H

#include "hb_client.h"

// Writes one byte of value 1 when events are queued; restarts the sequence when none is. errno is the
// write's. Errors: HB_ERROR_WAKE_UP_FAILED (59).
Hb_Rc MOX_write_to_event_pipe();

// The event pipe is a new one: writes what its predecessor held, a byte for each queued message, and one for all other
// events. A message that is no news is delivered without another byte.
void MOX_wake_for_queued_events();

// Writes one byte to a pipe and returns what write returned: 1, or -1 with errno (EBADF for a descriptor of -1).
int MOX_write_byte(int fd, char byte);

#endif
