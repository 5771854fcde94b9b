// SPDX-License-Identifier: Apache-2.0
// Receives what the daemon sends.
#pragma once

#include "lib/wire/packet.h"

// Returns whether a request can have a reply: false in cluster-event mode, because there is no daemon. Does not
// check the connection: sending a request fails if there is none.
bool hb_can_await_reply();

// Waits until the connection is readable. With a null time-out it succeeds at once, because the caller's next
// read then waits without limit. Errors:
// HB_ERROR_TIMEOUT (2), HB_ERROR_RECEIVE_FAILED (12).
Hb_Rc hb_wait_for_connection(const timeval *timeout);

// Receives one record of any kind. Errors: HB_ERROR_RECEIVE_FAILED (12), HB_ERROR_DISCONNECTED (16).
Hb_Rc hb_receive_packet(Hb_Packet &packet);

// Receives one packet of the expected kind with at least HB_REPLY_VALUE_END bytes. *length becomes its size,
// which the caller checks before it reads anything after `value`. The caller frees the packet with
// hb_free_packet. If the packet is shorter or of another kind, the call frees it, fails, and leaves both outputs
// unchanged.
// With a null time-out it waits without limit. Errors: HB_ERROR_TIMEOUT (2), HB_ERROR_UNEXPECTED_REPLY (10),
// HB_ERROR_RECEIVE_FAILED (12), HB_ERROR_DISCONNECTED (16).
Hb_Rc hb_get_reply_from_server(Hb_Client_Reply msg_type, client_packet *&return_packet, timeval *timeout,
                               int *length = nullptr);
