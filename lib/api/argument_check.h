// SPDX-License-Identifier: Apache-2.0
// Checks the pointers that a caller passes, and opens the library after that.
#pragma once

#include "hb_client.h"
#include "lib/base/error_number.h"

// Returns false, with HB_ERROR_BAD_ARGUMENT (4), when a pointer is null.
template <typename... Pointee> bool hb_given(Pointee *...pointer) {
    if ((... && (pointer != nullptr))) {
        return true;
    }
    set_hb_errno(HB_ERROR_BAD_ARGUMENT);
    return false;
}

// Returns true when no pointer is null and the library is open or could be opened.
template <typename... Pointee> bool hb_ready(Pointee *...pointer) {
    return hb_given(pointer...) && hb_init() == Hb_Success;
}
