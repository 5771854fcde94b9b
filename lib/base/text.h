// SPDX-License-Identifier: Apache-2.0
// Texts in fields of fixed size. The sender may have left out the terminating NUL: the text then ends one
// byte before the field.
#pragma once

#include <cstddef>
#include <cstring>

template <std::size_t Size> std::size_t hb_text_length(const char (&field)[Size]) {
    return strnlen(field, Size - 1);
}

// Copies the text and a NUL.
template <std::size_t Size> void hb_copy_text(char *to, const char (&field)[Size]) {
    const std::size_t length = hb_text_length(field);
    std::memcpy(to, field, length);
    to[length] = '\0';
}
