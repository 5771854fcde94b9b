// SPDX-License-Identifier: Apache-2.0
#include "lib/vexo/Hb_Select.h"

#include <cerrno>

Hb_Select::Hb_Select() : myError(0) {
    non_blocking_timeout();
}

Hb_Select::~Hb_Select() = default;

long Hb_Select::Error() {
    return myError;
}

Hb_Rc Hb_Select::wait() {
    if (select(FD_SETSIZE, &rd_fds, &wr_fds, &ex_fds, wait_time_ptr) >= 0) {
        return Hb_Success;
    }
    switch (errno) {
    case EINTR:
        myError = HB_SELECT_INTERRUPTED;
        break;
    case EBADF:
        myError = HB_SELECT_BAD_DESCRIPTOR;
        break;
    case EAGAIN:
        myError = HB_SELECT_AGAIN;
        break;
    case EFAULT:
        myError = HB_SELECT_FAULT;
        break;
    case EINVAL:
        myError = HB_SELECT_INVALID;
        break;
    default:
        myError = HB_SELECT_OTHER;
        break;
    }
    return Hb_Failure;
}
