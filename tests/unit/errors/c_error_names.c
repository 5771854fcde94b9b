// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/errors/c_error_names.h"

#include "hb_client.h"
#include "hb_error.h"

const char *c_error_name(int number) {
    return hb_error_name(number);
}

const char *c_error_text(int number) {
    return hb_error_text(number);
}

int c_number_of_no_route(void) {
    const enum Hb_Error error = HB_ERROR_NO_ROUTE;
    return (int)error;
}

#define ONE(number, name, text) +1

int c_entries_of_list(void) {
    return 0 HB_ERROR_LIST(ONE);
}
