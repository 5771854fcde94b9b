// The source of the configuration: the daemon, or the cluster service in MOX mode.
#pragma once

#include "hb_client.h"

// Requests the configuration from the daemon, or from the cluster service in MOX mode, and loads it. Errors:
// 10, 16, 17, 23, 26, 27 and those of hb_send; 17, 63, 64, 65 in MOX mode.
Hb_Rc hb_recv_config_info();
