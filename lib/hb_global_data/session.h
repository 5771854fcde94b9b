// Opening and closing the library: hb_init and hb_terminate of hb_client.h.
#ifndef HB_SESSION_H
#define HB_SESSION_H

#include "hb_client.h"

extern int client_initialized; // 1 while open

// Opens the library and, in daemon mode, connects again where the caller has removed the connection of an
// open library. Errors: those of hb_init.
Hb_Rc hb_ensure_connection();

#endif
