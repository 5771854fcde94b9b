// SPDX-License-Identifier: Apache-2.0
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
        return HB_ERROR_CONFIG_READ_BAD_ADDRESS;
    case HB_CSOCK_RESERVED_10:
        return HB_ERROR_CONFIG_READ_RESERVED_10;
    case HB_CSOCK_RESERVED_11:
        return HB_ERROR_CONFIG_READ_RESERVED_11;
    case HB_CSOCK_READ_IO:
        return HB_ERROR_CONFIG_READ_IO;
    case HB_CSOCK_EOF:
        return HB_ERROR_DISCONNECTED;
    default:
        return HB_ERROR_CONFIG_READ_FAILED;
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
        return hb_fail(HB_ERROR_UNEXPECTED_REPLY);
    }
    if (!hb_view_snapshot(packet.bytes())) {
        return hb_fail(HB_ERROR_UNEXPECTED_REPLY);
    }
    return hb_get_adapter_network(packet.get());
}
