#include "lib/hb_communication/connection.h"

#include <memory>
#include <new>
#include <unistd.h>

#include "hb_client.h"
#include "lib/MOX_HBC_trace.h"
#include "lib/hb_communication/socket_path.h"
#include "lib/hb_global_data/error_number.h"

pid_t client_pid = 0;
Hb_Csock *client_socket = nullptr;
Hb_Select *client_select = nullptr;

namespace {

int error_number_of(long socket_status) {
    switch (socket_status) {
    case HB_CSOCK_NO_SOCKET:
        return 13;
    case HB_CSOCK_NO_BUFFER:
        return 14;
    case HB_CSOCK_NOT_CONNECTED:
        return 15;
    default:
        return 12;
    }
}

Hb_Rc fail(int number) {
    set_hb_errno(number);
    return Hb_Failure;
}

} // namespace

Hb_Rc hb_init_communication() {
    if (client_socket != nullptr) {
        hb_remove_socket();
    }
    if (client_select != nullptr) {
        hb_remove_client_select();
    }
    client_pid = getpid();
    if (!hb_resolve_socket_path()) {
        return fail(15);
    }
    std::unique_ptr<Hb_Csock> connection(new (std::nothrow) Hb_Csock);
    if (!connection) {
        return fail(17);
    }
    if (connection->Error() != HB_CSOCK_OK) {
        return fail(error_number_of(connection->Error()));
    }
    client_select = new (std::nothrow) Hb_Select;
    if (client_select == nullptr) {
        return fail(17);
    }
    client_socket = connection.release();
    return Hb_Success;
}

Hb_Rc hb_remove_socket() {
    if (hb_trace_on(HB_TRACE_INFO)) {
        tr_ms_record_id_1(HB_TRACE_COMPONENT, HB_TR_REMOVE_SOCKET, pTokens[HB_TRACE_INFO]);
    }
    delete client_socket;
    client_socket = nullptr;
    return Hb_Success;
}

Hb_Rc hb_remove_client_select() {
    if (hb_trace_on(HB_TRACE_INFO)) {
        tr_ms_record_id_1(HB_TRACE_COMPONENT, HB_TR_REMOVE_CLIENT_SELECT, pTokens[HB_TRACE_INFO]);
    }
    delete client_select;
    client_select = nullptr;
    return Hb_Success;
}
