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

int open_error(long socket_status) {
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

void drop_socket() {
    delete client_socket;
    client_socket = nullptr;
}

void drop_client_select() {
    delete client_select;
    client_select = nullptr;
}

} // namespace

Hb_Rc hb_init_communication() {
    drop_socket();
    drop_client_select();
    client_pid = getpid();
    if (!hb_resolve_socket_path()) {
        return hb_fail(15);
    }
    std::unique_ptr<Hb_Csock> connection(new (std::nothrow) Hb_Csock);
    if (!connection) {
        return hb_fail(17);
    }
    if (connection->Error() != HB_CSOCK_OK) {
        return hb_fail(open_error(connection->Error()));
    }
    client_select = new (std::nothrow) Hb_Select;
    if (client_select == nullptr) {
        return hb_fail(17);
    }
    client_socket = connection.release();
    return Hb_Success;
}

Hb_Rc hb_remove_socket() {
    hb_trace_id(HB_TRACE_INFO, HB_TR_REMOVE_SOCKET);
    drop_socket();
    return Hb_Success;
}

Hb_Rc hb_remove_client_select() {
    hb_trace_id(HB_TRACE_INFO, HB_TR_REMOVE_CLIENT_SELECT);
    drop_client_select();
    return Hb_Success;
}
