// SPDX-License-Identifier: Apache-2.0
#include "message_text.h"

#include <cstring>
#include <optional>

#include "qz_tr.h"

namespace qz_tr {

namespace {

constexpr std::string_view FORMATS = "duxesh";

struct Placeholder {
    std::size_t argument = 0; // counted from 0
    char format = 0;
    std::size_t length = 0; // of the placeholder itself
};

// Parses the placeholder at the beginning of `text`, which begins with a brace.
std::optional<Placeholder> parse_placeholder(std::string_view text) {
    Placeholder result;
    std::size_t at = 1;
    std::size_t number = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        number = number * 10 + static_cast<std::size_t>(text[at] - '0');
        if (number > TR_MAX_ARGUMENTS) {
            return std::nullopt;
        }
    }
    if (number == 0) {
        return std::nullopt;
    }
    result.argument = number - 1;
    if (at + 1 < text.size() && text[at] == ':' && FORMATS.find(text[at + 1]) != std::string_view::npos) {
        result.format = text[at + 1];
        at += 2;
    }
    if (at >= text.size() || text[at] != '}') {
        return std::nullopt;
    }
    result.length = at + 1;
    return result;
}

bool is_doubled_brace(std::string_view text) {
    return text.size() >= 2 && text[0] == text[1];
}

template <typename Unsigned, typename Signed> void put_integer(Line &line, const void *bytes, char format) {
    Unsigned bits;
    std::memcpy(&bits, bytes, sizeof bits);
    switch (format) {
    case 'u':
        line.put_decimal(bits);
        break;
    case 'x':
        line.put("0x");
        line.put_hex(bits);
        break;
    default:
        line.put_signed(static_cast<Signed>(bits));
    }
}

void put_error_number(Line &line, int32_t number) {
    // strerrordesc_np needs no lock, allocation or translation, unlike strerror.
    const char *meaning = strerrordesc_np(number);
    if (meaning != nullptr) {
        line.put(meaning);
        line.put(" (");
        line.put_signed(number);
        line.put(')');
    } else {
        line.put("error ");
        line.put_signed(number);
    }
}

// Returns false if the bytes cannot be written as a number.
bool put_number(Line &line, const void *bytes, std::size_t length, char format) {
    if (format == 'e') {
        int32_t number;
        if (length != sizeof number) {
            return false;
        }
        std::memcpy(&number, bytes, sizeof number);
        put_error_number(line, number);
        return true;
    }
    switch (length) {
    case 1:
        put_integer<uint8_t, int8_t>(line, bytes, format);
        return true;
    case 2:
        put_integer<uint16_t, int16_t>(line, bytes, format);
        return true;
    case 4:
        put_integer<uint32_t, int32_t>(line, bytes, format);
        return true;
    case 8:
        put_integer<uint64_t, int64_t>(line, bytes, format);
        return true;
    default:
        return false;
    }
}

std::string_view as_text(const Argument &data) {
    const char *text = static_cast<const char *>(data.bytes);
    return {text, strnlen(text, data.length)};
}

bool is_printable_text(const Argument &data) {
    const std::string_view text = as_text(data);
    if (text.empty() || text.size() + 1 != data.length) {
        return false;
    }
    for (const char character : text) {
        if (character < 0x20 || character > 0x7E) {
            return false;
        }
    }
    return true;
}

void put_data(Line &line, const Argument &data, char format) {
    if (data.length == 0) {
        line.put("(empty)");
        return;
    }
    const bool wants_number = format == 'd' || format == 'u' || format == 'x' || format == 'e';
    if (wants_number && put_number(line, data.bytes, data.length, format)) {
        return;
    }
    if (format == 's' || (format != 'h' && is_printable_text(data))) {
        line.put_escaped(as_text(data));
    } else {
        line.put_bytes(static_cast<const unsigned char *>(data.bytes), data.length);
    }
}

void put_argument(Line &line, const Argument &argument, char format) {
    switch (argument.kind) {
    case Argument::Kind::value:
        put_number(line, &argument.value, sizeof argument.value, format);
        break;
    case Argument::Kind::data:
        put_data(line, argument, format);
        break;
    case Argument::Kind::string:
        line.put_escaped(argument.bytes == nullptr ? std::string_view("(null)") : as_text(argument));
        break;
    }
}

} // namespace

Argument Argument::of_data(const void *block, int length) {
    if (block == nullptr || length < 1) {
        return {Kind::data, 0, nullptr, 0};
    }
    return {Kind::data, 0, block, static_cast<std::size_t>(length)};
}

Argument Argument::of_string(const char *text) {
    // Text beyond the size of a line is never written, so it is not read either.
    return {Kind::string, 0, text, text == nullptr ? 0 : strnlen(text, MAX_LINE_SIZE)};
}

const char *fault_of_text(std::string_view text) {
    if (text.empty()) {
        return "has no text";
    }
    for (std::size_t i = 0; i < text.size();) {
        const std::string_view rest = text.substr(i);
        if (rest[0] >= 0 && rest[0] < 0x20) {
            return "has a control character in its text";
        }
        if (rest[0] != '{' && rest[0] != '}') {
            ++i;
        } else if (is_doubled_brace(rest)) {
            i += 2;
        } else if (const auto placeholder = parse_placeholder(rest); rest[0] == '{' && placeholder) {
            i += placeholder->length;
        } else {
            return "has a brace that does not begin a placeholder; write {1} to {32}, {1:d}, {1:u}, {1:x}, "
                   "{1:e}, "
                   "{1:s} "
                   "or {1:h}, and {{ or }} for a brace itself";
        }
    }
    return nullptr;
}

void put_message(Line &line, std::string_view text, std::span<const Argument> arguments) {
    bool named[TR_MAX_ARGUMENTS] = {};
    for (std::size_t i = 0; i < text.size();) {
        const std::string_view rest = text.substr(i);
        if (rest[0] != '{' && rest[0] != '}') {
            line.put(rest[0]);
            ++i;
            continue;
        }
        if (is_doubled_brace(rest)) {
            line.put(rest[0]);
            i += 2;
            continue;
        }
        const auto placeholder = parse_placeholder(rest);
        if (!placeholder) {
            line.put(rest[0]);
            ++i;
            continue;
        }
        if (placeholder->argument < arguments.size()) {
            named[placeholder->argument] = true;
            put_argument(line, arguments[placeholder->argument], placeholder->format);
        } else {
            line.put("(not recorded)");
        }
        i += placeholder->length;
    }
    bool bracketed = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (!named[i]) {
            line.put(bracketed ? " " : " [");
            bracketed = true;
            line.put_decimal(i + 1);
            line.put('=');
            put_argument(line, arguments[i], 0);
        }
    }
    if (bracketed) {
        line.put(']');
    }
}

void put_arguments(Line &line, std::span<const Argument> arguments) {
    const char *separator = "";
    for (const Argument &argument : arguments) {
        line.put(separator);
        put_argument(line, argument, 0);
        separator = " ";
    }
}

} // namespace qz_tr
