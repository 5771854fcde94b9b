// The descriptors that a caller waits on.

#include <new>

#include "hb_client.h"
#include "lib/hb_argument_check.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/error_number.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/session.h"

Hb_Rc hb_get_file_descriptor_array(int **descriptor, int *numbers_of_fds) {
    if (!hb_given(descriptor, numbers_of_fds) || hb_ensure_connection() != Hb_Success) {
        return Hb_Failure;
    }
    auto *array = new (std::nothrow) int[2];
    if (array == nullptr) {
        return hb_fail(17);
    }
    // In cluster-event mode the descriptors are the handlers', and there are none without a service.
    const int count = IsMOX ? 0 : 1;
    if (count == 1) {
        array[0] = client_socket->socket();
    }
    array[count] = -1;
    *descriptor = array;
    *numbers_of_fds = count;
    return Hb_Success;
}

Hb_Rc hb_free_file_descriptor_array(int *descriptors) {
    if (!hb_given(descriptors)) {
        return Hb_Failure;
    }
    delete[] descriptors;
    return Hb_Success;
}
