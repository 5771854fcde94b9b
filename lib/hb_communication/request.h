// SPDX-License-Identifier: Apache-2.0
// Sends one request to the daemon.
#pragma once

#include "lib/wire/hb_wire.h"

class Hb_Csock;

// Sends the 76-byte header and msg_len bytes on the connection of an open or half open session. The bytes are
// those of msg_data, or zeros if it is null. In MOX mode it sends nothing and succeeds. Errors:
// HB_ERROR_DISCONNECTED (16), HB_ERROR_SEND_BAD_ADDRESS (18), HB_ERROR_SEND_RESERVED_6 (19),
// HB_ERROR_SEND_RESERVED_7 (20), HB_ERROR_SEND_IO (21), HB_ERROR_SEND_FAILED (22) (also when the session is
// closed).
Hb_Rc hb_send(Hb_Client_Request msg_type, void *msg_data, int msg_len);

// The same on the given connection, for the thread that opens the session. A null connection sets
// HB_ERROR_SEND_FAILED (22).
Hb_Rc hb_send_on(Hb_Csock *connection, Hb_Client_Request msg_type, void *msg_data, int msg_len);
