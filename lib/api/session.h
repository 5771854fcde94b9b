// SPDX-License-Identifier: Apache-2.0
// Opening and closing the library: hb_init and hb_terminate of hb_client.h.
#pragma once

#include "hb_client.h"
#include "lib/hb_global_data/session_state.h"

// Opens the library if it is not open. In daemon mode it also reopens a session whose connection
// hb_remove_socket has closed, because another daemon may listen now. After a failure no connection is open and
// no segment is attached. Errors: those of hb_init.
Hb_Rc hb_ensure_connection();
