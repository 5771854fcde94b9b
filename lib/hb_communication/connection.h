// SPDX-License-Identifier: Apache-2.0
// The connection to the daemon and its wait set. hb_init_communication of hb_client.h makes both;
// hb_remove_socket and hb_remove_client_select remove them.
#pragma once

#include <sys/types.h>

#include "hb_client.h"
#include "lib/vexo/Hb_Csock.h"
#include "lib/vexo/Hb_Select.h"

extern pid_t client_pid;
extern Hb_Csock *client_socket;  // null: no connection
extern Hb_Select *client_select; // null: no wait set

// Returns the connection of an open or half open session. In every other state it returns null, even if a
// failed opening left a socket.
Hb_Csock *hb_usable_connection();

// Connects and makes the wait set, after removing the existing ones. The caller holds the opening lock. Errors:
// HB_ERROR_RECEIVE_FAILED (12), HB_ERROR_SOCKET_FAILED (13), HB_ERROR_SOCKET_BUFFER_FAILED (14),
// HB_ERROR_CONNECT_FAILED (15), HB_ERROR_NO_MEMORY (17).
Hb_Rc hb_make_connection();

// Closes and removes the connection, if there is one.
void hb_drop_connection();
