// Opening and closing the library: hb_init and hb_terminate of hb_client.h.
#pragma once

#include "hb_client.h"
#include "lib/hb_global_data/session_state.h"

// Opens the library. In daemon mode it also reopens a session after its caller removed the connection:
// another daemon may listen by now. A failure leaves neither a connection nor segments. Errors: those of
// hb_init.
Hb_Rc hb_ensure_connection();
