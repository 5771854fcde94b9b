// SPDX-License-Identifier: Apache-2.0
// Formats a record's arguments by the catalogue's text.
//
// A text contains placeholders {N} or {N:F}: argument N, counted from 1, in format F:
//   d, u, x  signed, unsigned, hexadecimal number (a value, or data of 1, 2, 4 or 8 bytes)
//   e        a system error number with its meaning
//   s        text (data up to its first NUL)
//   h        data as hexadecimal bytes
// If F is absent or does not fit the argument, a value is a signed number and a string is text. Data is then
// text if it is printable and ends in NUL, or else bytes. {{ and }} are braces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "line.h"

namespace qz_tr {

struct Argument {
    enum class Kind { value, data, string };

    Kind kind = Kind::value;
    uint32_t value = 0;
    const void *bytes = nullptr;
    std::size_t length = 0;

    static Argument of_value(uint32_t value) { return {Kind::value, value, nullptr, 0}; }
    static Argument of_data(const void *block, int length);
    static Argument of_string(const char *text);
};

// Returns null for a valid text, or else a description of its fault.
const char *fault_of_text(std::string_view text);

// Writes a valid text with its placeholders filled in. Other arguments follow the text, so that an outdated
// text loses no argument.
void put_message(Line &line, std::string_view text, std::span<const Argument> arguments);

// Writes the arguments alone, for a message without a text.
void put_arguments(Line &line, std::span<const Argument> arguments);

} // namespace qz_tr
