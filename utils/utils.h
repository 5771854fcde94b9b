// Counted allocation, and splitting and joining of NUL-terminated strings.
#ifndef UTILS_UTILS_H
#define UTILS_UTILS_H

#include "utils/new_data_hook.h"

// Blocks got from cpp_malloc less calls of ccst_free. Freeing a null pointer counts too, and a request of
// zero bytes does not, so the counter may stand below the number of live blocks.
extern int memchunks;

// *addr becomes a new block of len bytes; null when len is 0 or below or memory is short. `caller` names
// the calling function for a debugger's eye.
void cpp_malloc(void **addr, int len, const char *caller);
void ccst_free(void *ptr);
void my_free(void *ptr);

// New blocks from cpp_malloc, freed with ccst_free; null when memory is short.
char *copy_string(const char *s1);
// Both strings with their NULs, back to back.
char *make_2_strings(const char *str1, const char *str2);
// Splits what make_2_strings made into two new strings. Returns 0.
int get_2_strings(const char *str, char **s1, char **s2);

// In place; both return s, empty when there is no delimiter.
// The text after the first delimiter.
char *remove_first_word(char *s, char delim);
// The text up to and with the last delimiter, not counting one that ends the string.
char *remove_last_word(char *s, char delim);

void syntax_error(const char *s);

#endif
