/* SPDX-License-Identifier: Apache-2.0 */
/*
 * hb_error.h - names and texts of the error numbers that the cluster heartbeat client library gives
 *
 * For programs that log a failure of a call.  Include it beside hb_client.h, which explains each number at length
 * under ERROR NUMBERS.  Both functions are compiled into the program: it runs with any version of the library.
 *
 *     if (hb_init() != Hb_Success) {
 *         const int error = hb_get_errno();
 *         fprintf(stderr, "hb_init: %s (%s, %d)\n", hb_error_text(error), hb_error_name(error), error);
 *     }
 *
 * prints one line where no daemon runs:
 *
 *     hb_init: no daemon listens at the socket path, this user may not connect to it, or a signal ended the wait
 *     (HB_ERROR_CONNECT_FAILED, 15)
 *
 * Call hb_get_errno right after a call that returned Hb_Failure, and only then: success does not reset the number.
 * Numbers 3 and 8 have a second meaning when the daemon's answer to a request sets them; their texts state both.
 *
 * Both functions accept every number and return a string that exists for as long as the program: do not free it.
 * They allocate nothing, call nothing, and may be called from any thread and from a signal handler.
 */
#ifndef HB_ERROR_H
#define HB_ERROR_H

#include "hb_error_list.h"

/* Returns the name that the number has in hb_client.h: "HB_ERROR_NO_ROUTE" for 6, "HB_ERROR_NONE" for 0.
 * "unknown error" for a number that this version does not have. */
static inline const char *hb_error_name(int number) {
    switch (number) {
#define HB_ERROR_NAME_CASE(value, name, text)                                                                  \
    case value:                                                                                                \
        return #name;
        HB_ERROR_LIST(HB_ERROR_NAME_CASE)
#undef HB_ERROR_NAME_CASE
    default:
        return "unknown error";
    }
}

/* Returns what the number means, for a person to read: "no route to the node is known" for 6, "no error" for 0.
 * Small letters, no full stop, at most 112 characters.  "unknown error number" for a number that this version does
 * not have. */
static inline const char *hb_error_text(int number) {
    switch (number) {
#define HB_ERROR_TEXT_CASE(value, name, text)                                                                  \
    case value:                                                                                                \
        return text;
        HB_ERROR_LIST(HB_ERROR_TEXT_CASE)
#undef HB_ERROR_TEXT_CASE
    default:
        return "unknown error number";
    }
}

#endif
