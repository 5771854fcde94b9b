// Where the configuration comes from: the daemon, or in MOX mode the cluster service.
#ifndef HB_CONFIGURATION_SOURCE_H
#define HB_CONFIGURATION_SOURCE_H

#include "hb_client.h"

// Asks the daemon, or in MOX mode the cluster service, for the configuration and loads it.
// Errors: those of hb_request_configuration, or in MOX mode those of hb_mox_update_global_tbl.
Hb_Rc hb_recv_config_info();

#endif
