// Waking whoever reads the event pipe.
#ifndef MOX_EVENT_PIPE_H
#define MOX_EVENT_PIPE_H

#include "hb_client.h"

// Writes one byte of value 1 when events are queued; restarts the sequence when none is. errno is the
// write's. Errors: 59 the byte could not be written.
Hb_Rc MOX_write_to_event_pipe();

// Writes one byte to a pipe and returns what write returned: 1, or -1 with errno (EBADF for a descriptor of -1).
int MOX_write_byte(int fd, char byte);

#endif
