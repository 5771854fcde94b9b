// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_communication/reply.h"

#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/operating_mode.h"

bool hb_can_await_reply() {
    return !IsMOX;
}

Hb_Rc hb_wait_for_connection(const timeval *timeout) {
    if (timeout == nullptr) {
        return Hb_Success;
    }
    const Hb_Csock *connection = hb_usable_connection();
    if (connection == nullptr || client_select == nullptr || connection->socket() >= FD_SETSIZE) {
        return hb_fail(HB_ERROR_RECEIVE_FAILED);
    }
    const int fd = connection->socket();
    client_select->timeout(*timeout);
    for (;;) {
        client_select->rd_zero();
        client_select->wr_zero();
        client_select->ex_zero();
        client_select->rd_set(fd);
        if (client_select->wait() == Hb_Success) {
            break;
        }
        if (client_select->Error() != HB_SELECT_INTERRUPTED) {
            return hb_fail(HB_ERROR_RECEIVE_FAILED);
        }
    }
    return client_select->rd_isset(fd) != 0 ? Hb_Success : hb_fail(HB_ERROR_TIMEOUT);
}

Hb_Rc hb_receive_packet(Hb_Packet &packet) {
    Hb_Csock *connection = hb_usable_connection();
    if (connection == nullptr) {
        return hb_fail(HB_ERROR_RECEIVE_FAILED);
    }
    char *bytes = nullptr;
    int length = 0;
    if (connection->receive(&bytes, length) != Hb_Success) {
        return hb_fail(connection->eof() != Hb_False ? HB_ERROR_DISCONNECTED : HB_ERROR_RECEIVE_FAILED);
    }
    packet = Hb_Packet(bytes, length);
    return Hb_Success;
}

Hb_Rc hb_get_reply_from_server(Hb_Client_Reply msg_type, client_packet *&return_packet, timeval *timeout,
                               int *length) {
    if (hb_wait_for_connection(timeout) != Hb_Success) {
        return Hb_Failure;
    }
    Hb_Packet received;
    if (hb_receive_packet(received) != Hb_Success) {
        return Hb_Failure;
    }
    if (!received.has_value() || received.get()->kind != msg_type) {
        return hb_fail(HB_ERROR_UNEXPECTED_REPLY);
    }
    if (length != nullptr) {
        *length = static_cast<int>(received.bytes().size());
    }
    return_packet = received.release();
    return Hb_Success;
}
