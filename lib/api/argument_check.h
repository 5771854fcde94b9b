// The check of the pointers that a caller hands in, and the opening that follows it.
#ifndef HB_ARGUMENT_CHECK_H
#define HB_ARGUMENT_CHECK_H

#include "hb_client.h"
#include "lib/base/error_number.h"

// False, with HB_ERROR_BAD_ARGUMENT (4), when any of them is null.
template <typename... Pointee> bool hb_given(Pointee *...pointer) {
    if ((... && (pointer != nullptr))) {
        return true;
    }
    set_hb_errno(HB_ERROR_BAD_ARGUMENT);
    return false;
}

// Whether all are given and the library is, or now gets, open.
template <typename... Pointee> bool hb_ready(Pointee *...pointer) {
    return hb_given(pointer...) && hb_init() == Hb_Success;
}

#endif
