// From a record's arguments and the catalogue's text to what a person reads.
//
// A text holds placeholders {N} or {N:F}: argument N, counted from 1, in format F:
//   d, u, x  signed, unsigned, hexadecimal number (a value, or data of 1, 2, 4 or 8 bytes)
//   e        a system error number with its meaning
//   s        text (data up to its first NUL)
//   h        data as hexadecimal bytes
// Without F, or where F does not fit the argument: a value as a signed number, a string as text, data as text
// when it is printable and ends in NUL, else as bytes. {{ and }} are braces.
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

// Null when the text is sound, else what is wrong with it.
const char *fault_of_text(std::string_view text);

// A sound text with its placeholders filled in. Arguments that the text does not name follow it, so that none
// is lost to a text that has fallen behind the code.
void put_message(Line &line, std::string_view text, std::span<const Argument> arguments);

// What stands for a message without a text: the arguments alone.
void put_arguments(Line &line, std::span<const Argument> arguments);

} // namespace qz_tr
