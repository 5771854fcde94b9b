// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_communication/request.h"

#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/operating_mode.h"

namespace {

// The length of the record with its length prefix must fit in an int.
constexpr int HB_REQUEST_LENGTH_MAX = INT_MAX - HB_REQUEST_HEADER_SIZE - 4;

int send_error(long socket_status) {
    switch (socket_status) {
    case HB_CSOCK_FAULT:
        return HB_ERROR_SEND_BAD_ADDRESS;
    case HB_CSOCK_RESERVED_6:
        return HB_ERROR_SEND_RESERVED_6;
    case HB_CSOCK_RESERVED_7:
        return HB_ERROR_SEND_RESERVED_7;
    case HB_CSOCK_WRITE_IO:
        return HB_ERROR_SEND_IO;
    case HB_CSOCK_EOF:
        return HB_ERROR_DISCONNECTED;
    default:
        return HB_ERROR_SEND_FAILED;
    }
}

} // namespace

Hb_Rc hb_send(Hb_Client_Request msg_type, void *msg_data, int msg_len) {
    return hb_send_on(hb_usable_connection(), msg_type, msg_data, msg_len);
}

Hb_Rc hb_send_on(Hb_Csock *connection, Hb_Client_Request msg_type, void *msg_data, int msg_len) {
    if (IsMOX) {
        return Hb_Success;
    }
    if (connection == nullptr || msg_len < 0 || msg_len > HB_REQUEST_LENGTH_MAX) {
        return hb_fail(HB_ERROR_SEND_FAILED);
    }
    // The number of a suspected adapter travels in `len`, so such a request may exceed a packet. It is built
    // on the heap, all others on the stack.
    const int size = HB_REQUEST_HEADER_SIZE + msg_len;
    packet_t common;
    std::unique_ptr<char[]> large;
    char *record = reinterpret_cast<char *>(&common);
    if (msg_len > HB_REQUEST_MESSAGE_SIZE) {
        large.reset(new (std::nothrow) char[static_cast<std::size_t>(size)]);
        if (!large) {
            return hb_fail(HB_ERROR_SEND_FAILED);
        }
        record = large.get();
    }
    std::memset(record, 0, static_cast<std::size_t>(size));
    auto *packet = reinterpret_cast<packet_t *>(record);
    packet->kind = msg_type;
    packet->len = msg_len;
    packet->origin.client.pid = client_pid;
    if (msg_data != nullptr) {
        std::memcpy(record + HB_REQUEST_HEADER_SIZE, msg_data, static_cast<std::size_t>(msg_len));
    }
    if (connection->send(record, size) != Hb_Success) {
        return hb_fail(send_error(connection->Error()));
    }
    return Hb_Success;
}
