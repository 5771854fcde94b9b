// SPDX-License-Identifier: Apache-2.0
// Requests the configuration from the daemon.
#pragma once

#include "hb_client.h"

// Sends HB_GET_CONFIG_INFO and loads the reply into the live table. Errors: HB_ERROR_UNEXPECTED_REPLY (10),
// HB_ERROR_DISCONNECTED (16), HB_ERROR_NO_MEMORY (17), HB_ERROR_CONFIG_READ_BAD_ADDRESS (23),
// HB_ERROR_CONFIG_READ_IO (26), HB_ERROR_CONFIG_READ_FAILED (27) and those of hb_send.
Hb_Rc hb_request_configuration();
