// SPDX-License-Identifier: Apache-2.0
/* The functions of hb_error.h as a C99 program compiles them. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

const char *c_error_name(int number);
const char *c_error_text(int number);
int c_number_of_no_route(void);

/* How many entries HB_ERROR_LIST has. */
int c_entries_of_list(void);

#ifdef __cplusplus
}
#endif
