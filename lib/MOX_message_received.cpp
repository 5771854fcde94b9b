// The membership daemon's word that a node has spoken to it: hb_mox_msg_received_from of hb_client.h.

#include "hb_client.h"
#include "lib/MOX_HBC_trace.h"
#include "lib/MOX_event_pipe.h"
#include "lib/MOX_handlers.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/made_events.h"

Hb_Rc hb_mox_msg_received_from(short node) {
    if (hb_init() != Hb_Success) {
        return Hb_Failure;
    }
    hb_trace_values(HB_TRACE_INFO, HB_TR_MESSAGE_RECEIVED, int{node});
    MOX_Event *ev = nullptr;
    if (event_pipe_handler_p != nullptr) {
        event_pipe_handler_p->constructNodeEvent(node, &ev, HB_EVENT_JOIN);
    }
    if (ev == nullptr) {
        return Hb_Success;
    }
    ev->type = MOX_MESSAGE_RECEIVED;
    ev->node_num = node;
    MOX_remember_made_event(ev);
    MOX_add_event_at_end(ev);
    return MOX_write_to_event_pipe();
}
