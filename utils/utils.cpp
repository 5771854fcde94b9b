// SPDX-License-Identifier: Apache-2.0
#include "utils/utils.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

int memchunks = 0;

void cpp_malloc(void **addr, int len, const char * /*caller*/) {
    *addr = nullptr;
    if (len <= 0) {
        return;
    }
    *addr = new (std::nothrow) char[static_cast<std::size_t>(len)];
    if (*addr != nullptr) {
        ++memchunks;
        wisp_pin_new_data(*addr, static_cast<unsigned int>(len));
    }
}

void ccst_free(void *ptr) {
    delete[] static_cast<char *>(ptr);
    --memchunks;
}

void my_free(void *ptr) {
    ccst_free(ptr);
}

static char *new_text(std::size_t size, const char *caller) {
    void *block = nullptr;
    if (size <= INT_MAX) {
        cpp_malloc(&block, static_cast<int>(size), caller);
    }
    return static_cast<char *>(block);
}

static char *new_copy(const char *text, std::size_t size, const char *caller) {
    char *copy = new_text(size, caller);
    if (copy != nullptr) {
        std::memcpy(copy, text, size);
    }
    return copy;
}

char *copy_string(const char *s1) {
    return new_copy(s1, std::strlen(s1) + 1, "copy_string");
}

char *make_2_strings(const char *str1, const char *str2) {
    const std::size_t size1 = std::strlen(str1) + 1;
    const std::size_t size2 = std::strlen(str2) + 1;
    char *both = new_text(size1 + size2, "make_2_strings");
    if (both != nullptr) {
        std::memcpy(both, str1, size1);
        std::memcpy(both + size1, str2, size2);
    }
    return both;
}

int get_2_strings(const char *str, char **s1, char **s2) {
    const std::size_t size1 = std::strlen(str) + 1;
    *s1 = new_copy(str, size1, "get_2_strings");
    *s2 = new_copy(str + size1, std::strlen(str + size1) + 1, "get_2_strings");
    return 0;
}

char *remove_first_word(char *s, char delim) {
    const std::size_t length = std::strlen(s);
    const void *found = std::memchr(s, delim, length);
    if (found == nullptr) {
        *s = '\0';
        return s;
    }
    // The text and its destination overlap. Moving it in one step needs no second block, and so cannot run
    // out of memory.
    const char *rest = static_cast<const char *>(found) + 1;
    std::memmove(s, rest, std::strlen(rest) + 1);
    return s;
}

char *remove_last_word(char *s, char delim) {
    std::size_t end = std::strlen(s);
    if (end > 0) {
        --end; // a delimiter at the end of the string does not count
    }
    while (end > 0 && s[end - 1] != delim) {
        --end;
    }
    s[end] = '\0';
    return s;
}

void syntax_error(const char *s) {
    std::fprintf(stderr, "\n******************** %s: syntax error *******\n\n", s);
}
