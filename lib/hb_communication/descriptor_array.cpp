#include <new>

#include "hb_client.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/error_number.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/session.h"

Hb_Rc hb_get_file_descriptor_array(int **descriptor, int *numbers_of_fds) {
    if (descriptor == nullptr || numbers_of_fds == nullptr) {
        set_hb_errno(4);
        return Hb_Failure;
    }
    if (hb_ensure_connection() != Hb_Success) {
        return Hb_Failure;
    }
    auto *array = new (std::nothrow) int[2];
    if (array == nullptr) {
        set_hb_errno(17);
        return Hb_Failure;
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
    if (descriptors == nullptr) {
        set_hb_errno(4);
        return Hb_Failure;
    }
    delete[] descriptors;
    return Hb_Success;
}
