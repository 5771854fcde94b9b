// SPDX-License-Identifier: Apache-2.0
#include "lib/api/session.h"

#include <algorithm>

#include "lib/api/configuration_source.h"
#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/base/lock.h"
#include "lib/base/process_exit.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/shared_segments.h"
#include "lib/hb_global_data/node_table.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/handlers/process_handlers.h"

namespace {

// Emptying the live table clears only the nodes within its bounds. A daemon's table that stayed live after
// the migration may have set others.
void forget_nodes() {
    if (IsMOX) {
        std::fill_n(global_node_tbl, HB_NODE_SLOTS, Hb_False);
        global_num_nodes = 0;
    }
}

// Runs the opening steps in order. A failure leaves the table empty, because data of an earlier session would
// be wrong.
Hb_Rc run_opening_steps() {
    hb_clear_subscription_names();
    hb_empty_live_table();
    MOX_drop_prepared_table();
    if (!IsMOX && (hb_make_connection() != Hb_Success || hb_init_shared_memory() != Hb_Success)) {
        return Hb_Failure;
    }
    if (hb_recv_config_info() != Hb_Success) {
        forget_nodes();
        return Hb_Failure;
    }
    if (!IsMOX) {
        hb_init_global_node_tbl();
    }
    return Hb_Success;
}

Hb_Rc open_session() {
    hb_watch_exit();
    Hb_Opening_Attempt attempt;
    if (run_opening_steps() != Hb_Success) {
        return Hb_Failure;
    }
    attempt.reach(Hb_Session_State::open);
    return Hb_Success;
}

bool is_connected() {
    return hb_is_open() && (IsMOX || client_socket != nullptr);
}

// A cluster service that calls the library while the library is opening would wait for itself.
constexpr int OPENING_ALREADY = HB_ERROR_RECEIVE_FAILED;

} // namespace

Hb_Rc hb_init() {
    if (hb_is_open()) {
        return Hb_Success;
    }
    hbc_initialize_trace_once();
    const Hb_Locked lock(hb_opening_lock);
    if (!lock.entered()) {
        return hb_fail(OPENING_ALREADY);
    }
    return hb_is_open() ? Hb_Success : open_session();
}

Hb_Rc hb_terminate() {
    if (!hb_has_session_to_close()) {
        return Hb_Success;
    }
    const Hb_Locked lock(hb_opening_lock);
    if (!hb_has_session_to_close()) {
        return Hb_Success;
    }
    MOX_delete_global_event_handlers();
    hb_set_session_state(Hb_Session_State::closed);
    hb_put_session_out_of_use(false);
    return hb_remove_socket();
}

Hb_Rc hb_ensure_connection() {
    if (is_connected()) {
        return Hb_Success;
    }
    hbc_initialize_trace_once();
    const Hb_Locked lock(hb_opening_lock);
    if (!lock.entered()) {
        return hb_fail(OPENING_ALREADY);
    }
    if (is_connected()) {
        return Hb_Success;
    }
    const Hb_Rc opened = open_session();
    if (opened != Hb_Success) {
        hb_drop_connection();
        hb_detach_shared_memory();
    }
    return opened;
}
