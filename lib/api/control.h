// Control requests to the daemon; the public ones are declared in hb_client.h.
#ifndef HB_CONTROL_H
#define HB_CONTROL_H

#include <sys/time.h>

#include "lib/wire/hb_wire.h"

// How long an entry waits for the daemon's answer, but for hb_adapter_grace, which waits without limit.
extern const timeval reply_from_server_deftimeout;

// Reports a suspicion. The number travels in the request's `len`, with that many zero bytes behind the
// header: the daemon reads it there. Errors: HB_ERROR_BAD_ARGUMENT (4) out of range,
// HB_ERROR_NODE_NOT_CONFIGURED (9), HB_ERROR_ADAPTER_NOT_CONFIGURED (7), those of hb_send.
Hb_Rc hb_notify_node_down(short node_num, Hb_Client_Request msg_type);
Hb_Rc hb_notify_adapter_down(unsigned int adapter_num, Hb_Client_Request msg_type);

// Sends a request about an adapter of this node: its network number and, when data is given, the four bytes
// there. Errors: HB_ERROR_BAD_ARGUMENT (4) out of range or not of this node, HB_ERROR_ADAPTER_NOT_CONFIGURED (7), those
// of hb_send.
Hb_Rc hb_config_local_adapter(unsigned int adapter_num, Hb_Client_Request msg_type, void *data);

#endif
