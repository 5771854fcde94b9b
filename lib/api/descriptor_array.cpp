// SPDX-License-Identifier: Apache-2.0
// The descriptors on which a caller waits for events.

#include <new>

#include "hb_client.h"
#include "lib/api/argument_check.h"
#include "lib/api/session.h"
#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/mox/handlers/MOX_ORBFSHandler.h"

namespace {

int *connection_descriptor() {
    // Another thread may replace the connection at the same time, so the pointer is read once.
    const Hb_Csock *const connection = client_socket;
    auto *array = new (std::nothrow) int[2];
    if (array != nullptr) {
        array[0] = connection != nullptr ? connection->socket() : -1;
        array[1] = -1;
    }
    return array;
}

} // namespace

Hb_Rc hb_get_file_descriptor_array(int **descriptor, int *numbers_of_fds) {
    if (!hb_given(descriptor, numbers_of_fds) || hb_ensure_connection() != Hb_Success) {
        return Hb_Failure;
    }
    int *array = IsMOX ? ORBFSHandler::getFileDescriptors() : connection_descriptor();
    if (array == nullptr) {
        return hb_fail(HB_ERROR_NO_MEMORY);
    }
    *descriptor = array;
    *numbers_of_fds = IsMOX ? ORBFSHandler::getNumbersOfFileDescriptors() : 1;
    return Hb_Success;
}

Hb_Rc hb_free_file_descriptor_array(int *descriptors) {
    if (!hb_given(descriptors)) {
        return Hb_Failure;
    }
    delete[] descriptors;
    return Hb_Success;
}
