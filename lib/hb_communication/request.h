// Sending one request to the daemon.
#ifndef HB_REQUEST_H
#define HB_REQUEST_H

#include "lib/hb_wire.h"

// Sends the 76-byte header and msg_len bytes, those of msg_data and zeros where it is null. In MOX mode
// nothing is sent and it succeeds. Errors: 16, 18, 19, 20, 21, 22.
Hb_Rc hb_send(Hb_Client_Request msg_type, void *msg_data, int msg_len);

#endif
