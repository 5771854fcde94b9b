// Sending one request to the daemon.
#ifndef HB_REQUEST_H
#define HB_REQUEST_H

#include "lib/wire/hb_wire.h"

class Hb_Csock;

// Sends the 76-byte header and msg_len bytes, those of msg_data and zeros where it is null, on the connection of an
// open or half open session. In MOX mode nothing is sent and it succeeds.
// Errors: HB_ERROR_DISCONNECTED (16), HB_ERROR_SEND_BAD_ADDRESS (18) to HB_ERROR_SEND_FAILED (22), the
// last also when the session is closed.
Hb_Rc hb_send(Hb_Client_Request msg_type, void *msg_data, int msg_len);

// The same on the connection given, for the thread that opens the session; a null connection gives
// HB_ERROR_SEND_FAILED (22).
Hb_Rc hb_send_on(Hb_Csock *connection, Hb_Client_Request msg_type, void *msg_data, int msg_len);

#endif
