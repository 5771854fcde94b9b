// The library's error number: one plain integer for the process, read with hb_get_errno.
#pragma once

#include "hb_client.h"

extern int global_hb_errno;

void set_hb_errno(int number);

// Both set the number and report failure, for the two kinds of return type.
inline Hb_Rc hb_fail(int number) {
    set_hb_errno(number);
    return Hb_Failure;
}

inline bool hb_refuse(int number) {
    set_hb_errno(number);
    return false;
}
