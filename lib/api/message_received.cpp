// SPDX-License-Identifier: Apache-2.0
// The membership daemon reports that it received a message from a node: hb_mox_msg_received_from of
// hb_client.h.

#include "hb_client.h"
#include "lib/base/MOX_HBC_trace.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/message_events.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/mox/event_construction.h"
#include "lib/mox/handlers/event_pipe.h"
#include "lib/mox/handlers/process_handlers.h"

namespace {

// Returns an unused event of an earlier message, or a new one. Null: no memory.
MOX_Event *message_event(short node) {
    MOX_Event *ev = MOX_reuse_message_event();
    if (ev != nullptr) {
        MOX_fill_node_event(*ev, node, HB_EVENT_JOIN);
        return ev;
    }
    event_pipe_handler_p->constructNodeEvent(node, &ev, HB_EVENT_JOIN);
    if (ev != nullptr && !MOX_remember_message_event(ev)) {
        delete ev;
        ev = nullptr;
    }
    return ev;
}

} // namespace

Hb_Rc hb_mox_msg_received_from(short node) {
    if (hb_init() != Hb_Success) {
        return Hb_Failure;
    }
    hb_trace_values(HB_TRACE_INFO, HB_TR_MESSAGE_RECEIVED, int{node});
    // In daemon mode the daemon reports its nodes itself. Without a handler no event could be delivered.
    if (!IsMOX || event_pipe_handler_p == nullptr) {
        return Hb_Success;
    }
    MOX_Event *ev = message_event(node);
    if (ev == nullptr) {
        return Hb_Success;
    }
    ev->type = MOX_MESSAGE_RECEIVED;
    ev->node_num = node;
    MOX_add_event_at_end(ev);
    return MOX_write_to_event_pipe();
}
