// SPDX-License-Identifier: Apache-2.0
// The source of the configuration: the daemon, or the cluster service in MOX mode.
#pragma once

#include "hb_client.h"

// Requests the configuration from the daemon, or from the cluster service in MOX mode, and loads it.
// Errors: those of hb_request_configuration, or in MOX mode those of hb_mox_update_global_tbl.
Hb_Rc hb_recv_config_info();
