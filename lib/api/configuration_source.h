// Where the configuration comes from: the daemon, or in MOX mode the cluster service.
#ifndef HB_CONFIGURATION_SOURCE_H
#define HB_CONFIGURATION_SOURCE_H

#include "hb_client.h"

// Asks the daemon, or in MOX mode the cluster service, for the configuration and loads it.
// Errors: 10, 16, 17, 23, 26, 27 and those of hb_send; 17, 63, 64, 65 in MOX mode.
Hb_Rc hb_recv_config_info();

#endif
