// Waiting for what the daemon sends.
#ifndef HB_REPLY_H
#define HB_REPLY_H

#include "lib/wire/packet.h"

// Whether a request can have a reply: cluster-event mode has no daemon. A connection is not asked for here, because
// sending reports that there is none.
bool hb_can_await_reply();

// Waits until the connection is readable; a null time-out waits for nothing and succeeds. Errors: HB_ERROR_TIMEOUT
// (2), HB_ERROR_RECEIVE_FAILED (12).
Hb_Rc hb_wait_for_connection(const timeval *timeout);

// Receives one record, whatever it is. Errors: HB_ERROR_RECEIVE_FAILED (12), HB_ERROR_DISCONNECTED (16).
Hb_Rc hb_receive_packet(Hb_Packet &packet);

// Receives one packet of the kind awaited, which reaches HB_REPLY_VALUE_END at the least; *length becomes the number
// of its bytes, and what a caller reads behind `value` it compares with that. The caller frees the packet with
// hb_free_packet. A packet of another kind, or a shorter one, is freed and the call fails; nothing is written then.
// A null time-out waits without limit. Errors: HB_ERROR_TIMEOUT (2), HB_ERROR_UNEXPECTED_REPLY (10),
// HB_ERROR_RECEIVE_FAILED (12), HB_ERROR_DISCONNECTED (16).
Hb_Rc hb_get_reply_from_server(Hb_Client_Reply msg_type, client_packet *&return_packet, timeval *timeout,
                               int *length = nullptr);

#endif
