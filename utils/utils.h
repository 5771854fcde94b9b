// SPDX-License-Identifier: Apache-2.0
// Counted allocation, and splitting and joining of NUL-terminated strings.
#pragma once

#include "utils/new_data_hook.h"

// Blocks from cpp_malloc minus calls of ccst_free. Freeing null is counted and a request of zero bytes is
// not, so this may be less than the number of live blocks.
extern int memchunks;

// *addr becomes a new block of len bytes. It becomes null if len is not positive or memory is short. `caller`
// names the calling function for a debugger.
void cpp_malloc(void **addr, int len, const char *caller);
void ccst_free(void *ptr);
void my_free(void *ptr);

// Returns a new block from cpp_malloc, which the caller frees with ccst_free. Null when memory is short.
char *copy_string(const char *s1);
// Joins both strings with their NULs into a new block.
char *make_2_strings(const char *str1, const char *str2);
// Splits what make_2_strings made into two new strings. Returns 0.
int get_2_strings(const char *str, char **s1, char **s2);

// Both change s in place and return it, empty if there is no delimiter. This one keeps the text after the
// first delimiter.
char *remove_first_word(char *s, char delim);
// Keeps the text up to and including the last delimiter. A delimiter at the end of the string does not count.
char *remove_last_word(char *s, char delim);

void syntax_error(const char *s);
