// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_communication/connection.h"

#include <memory>
#include <new>
#include <unistd.h>
#include <utility>

#include "hb_client.h"
#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/base/lock.h"
#include "lib/base/process_exit.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/session_state.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/vexo/socket_path.h"

pid_t client_pid = 0;
Hb_Csock *client_socket = nullptr;
Hb_Select *client_select = nullptr;

namespace {

int open_error(long socket_status) {
    switch (socket_status) {
    case HB_CSOCK_NO_SOCKET:
        return HB_ERROR_SOCKET_FAILED;
    case HB_CSOCK_NO_BUFFER:
        return HB_ERROR_SOCKET_BUFFER_FAILED;
    case HB_CSOCK_NOT_CONNECTED:
        return HB_ERROR_CONNECT_FAILED;
    default:
        return HB_ERROR_RECEIVE_FAILED;
    }
}

void drop_wait_set() {
    delete std::exchange(client_select, nullptr);
}

} // namespace

Hb_Csock *hb_usable_connection() {
    const Hb_Session_State state = hb_session_state();
    const bool is_usable = state == Hb_Session_State::open || state == Hb_Session_State::half_open;
    return is_usable ? client_socket : nullptr;
}

void hb_drop_connection() {
    delete std::exchange(client_socket, nullptr);
}

Hb_Rc hb_make_connection() {
    hb_drop_connection();
    drop_wait_set();
    client_pid = getpid();
    if (!hb_resolve_socket_path()) {
        return hb_fail(HB_ERROR_CONNECT_FAILED);
    }
    std::unique_ptr<Hb_Csock> connection(new (std::nothrow) Hb_Csock);
    if (!connection) {
        return hb_fail(HB_ERROR_NO_MEMORY);
    }
    if (connection->Error() != HB_CSOCK_OK) {
        return hb_fail(open_error(connection->Error()));
    }
    client_select = new (std::nothrow) Hb_Select;
    if (client_select == nullptr) {
        return hb_fail(HB_ERROR_NO_MEMORY);
    }
    client_socket = connection.release();
    return Hb_Success;
}

Hb_Rc hb_init_communication() {
    const Hb_Locked lock(hb_opening_lock);
    if (!lock.entered()) {
        return hb_fail(HB_ERROR_RECEIVE_FAILED);
    }
    hb_watch_exit();
    if (IsMOX) {
        return hb_make_connection(); // a session with the cluster service does not use the connection
    }
    if (hb_is_open()) {
        hb_empty_live_table(); // its content came from another connection
        hb_put_session_out_of_use(true);
    }
    Hb_Opening_Attempt attempt;
    const Hb_Rc connected = hb_make_connection();
    if (connected == Hb_Success) {
        attempt.reach(Hb_Session_State::half_open);
    }
    return connected;
}

Hb_Rc hb_remove_socket() {
    hb_trace_id(HB_TRACE_INFO, HB_TR_REMOVE_SOCKET);
    const Hb_Locked lock(hb_opening_lock);
    hb_drop_connection();
    if (hb_session_state() == Hb_Session_State::half_open) {
        hb_set_session_state(Hb_Session_State::closed);
    }
    return Hb_Success;
}

Hb_Rc hb_remove_client_select() {
    hb_trace_id(HB_TRACE_INFO, HB_TR_REMOVE_CLIENT_SELECT);
    const Hb_Locked lock(hb_opening_lock);
    drop_wait_set();
    return Hb_Success;
}
