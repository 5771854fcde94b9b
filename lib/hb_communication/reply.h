// Waiting for what the daemon sends.
#ifndef HB_REPLY_H
#define HB_REPLY_H

#include "lib/hb_communication/packet.h"

// Whether a reply can come at all: not in MOX mode, and not without a connection.
bool hb_can_await_reply();

// Waits until the connection is readable; a null time-out waits for nothing and succeeds. Errors: 2, 12.
Hb_Rc hb_wait_for_connection(const timeval *timeout);

// Receives one record, whatever it is. Errors: 12, 16.
Hb_Rc hb_receive_packet(Hb_Packet &packet);

// Receives one packet of the kind awaited and of min_length bytes or more, HB_REPLY_VALUE_END at the least. A
// packet of another kind is dropped and the call fails. Errors: 2, 10, 12, 16.
Hb_Rc hb_receive_reply(Hb_Client_Reply msg_type, int min_length, Hb_Packet &packet, const timeval *timeout);

// The same for a whole header at least; the caller frees the packet with delete[] of a char array.
Hb_Rc hb_get_reply_from_server(Hb_Client_Reply msg_type, client_packet *&return_packet, timeval *timeout);

#endif
