// SPDX-License-Identifier: Apache-2.0
// The library's error number: one plain integer for the process, read with hb_get_errno.
#pragma once

#include "hb_client.h"

extern int global_hb_errno;

void set_hb_errno(int number);

// Set the error number and return the failure value: hb_fail in functions that return Hb_Rc, hb_refuse in
// functions that return bool.
inline Hb_Rc hb_fail(int number) {
    set_hb_errno(number);
    return Hb_Failure;
}

inline bool hb_refuse(int number) {
    set_hb_errno(number);
    return false;
}
