// SPDX-License-Identifier: Apache-2.0
// Control requests to the daemon. hb_client.h declares the public ones.
#pragma once

#include <sys/time.h>

#include "lib/wire/hb_wire.h"

// How long a function waits for the daemon's reply. Only hb_adapter_grace waits without limit.
extern const timeval reply_from_server_deftimeout;

// Reports that a node or adapter may be down, or is down. The daemon reads the number from the request's `len`,
// so that many zero bytes follow the header. Errors: HB_ERROR_BAD_ARGUMENT (4),
// HB_ERROR_NODE_NOT_CONFIGURED (9), HB_ERROR_ADAPTER_NOT_CONFIGURED (7) and those of hb_send.
Hb_Rc hb_notify_node_down(short node_num, Hb_Client_Request msg_type);
Hb_Rc hb_notify_adapter_down(unsigned int adapter_num, Hb_Client_Request msg_type);

// Sends a request about an adapter of this node: its network number and, if `data` is given, four bytes from
// there. Errors: HB_ERROR_BAD_ARGUMENT (4) out of range or not of this node, HB_ERROR_ADAPTER_NOT_CONFIGURED
// (7) and those of hb_send.
Hb_Rc hb_config_local_adapter(unsigned int adapter_num, Hb_Client_Request msg_type, void *data);
