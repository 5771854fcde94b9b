// Asking the daemon for the configuration.
#ifndef HB_CONFIGURATION_REQUEST_H
#define HB_CONFIGURATION_REQUEST_H

#include "hb_client.h"

// Sends HB_GET_CONFIG_INFO and loads what the daemon answers into the live table.
// Errors: 10, 16, 17, 23, 26, 27 and those of hb_send.
Hb_Rc hb_request_configuration();

#endif
