#include "lib/hb_communication/configuration_request.h"

#include "lib/base/error_number.h"
#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/request.h"
#include "lib/wire/packet.h"

namespace {

int receive_error(long socket_status) {
    switch (socket_status) {
    case HB_CSOCK_FAULT:
        return 23;
    case HB_CSOCK_RESERVED_10:
        return 24;
    case HB_CSOCK_RESERVED_11:
        return 25;
    case HB_CSOCK_READ_IO:
        return 26;
    case HB_CSOCK_EOF:
        return 16;
    default:
        return 27;
    }
}

} // namespace

Hb_Rc hb_request_configuration() {
    if (hb_send_on(client_socket, HB_GET_CONFIG_INFO, nullptr, 0) != Hb_Success) {
        return Hb_Failure;
    }
    char *bytes = nullptr;
    int length = 0;
    if (client_socket->receive(&bytes, length) != Hb_Success) {
        return hb_fail(receive_error(client_socket->Error()));
    }
    const Hb_Packet packet(bytes, length);
    if (!packet.has_header() || packet.get()->kind != HB_CONFIGURATION_INFO) {
        return hb_fail(10);
    }
    if (!hb_view_snapshot(packet.bytes())) {
        return hb_fail(10);
    }
    return hb_get_adapter_network(packet.get());
}
