// SPDX-License-Identifier: Apache-2.0
#include "common/printable.h"

#include <cstdint>

namespace terminal {
namespace {

// The first character of a text; size 0 when the text does not start with a valid character.
struct Character {
    uint32_t code = 0;
    std::size_t size = 0;
};

unsigned byte_at(std::string_view text, std::size_t place) {
    return static_cast<unsigned char>(text[place]);
}

// Rejects encodings longer than necessary, surrogates, and codes beyond Unicode.
bool is_well_formed(const Character &character) {
    constexpr uint32_t lowest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool is_surrogate = character.code >= 0xD800 && character.code <= 0xDFFF;
    return character.code >= lowest[character.size] && character.code <= 0x10FFFF && !is_surrogate;
}

Character first_of(std::string_view text) {
    const unsigned lead = byte_at(text, 0);
    if (lead < 0x80) {
        return {lead, 1};
    }
    Character character;
    if (lead >= 0xC0 && lead < 0xE0) {
        character = {lead & 0x1F, 2};
    } else if (lead >= 0xE0 && lead < 0xF0) {
        character = {lead & 0x0F, 3};
    } else if (lead >= 0xF0 && lead < 0xF8) {
        character = {lead & 0x07, 4};
    }
    if (character.size == 0 || character.size > text.size()) {
        return {};
    }
    for (std::size_t i = 1; i < character.size; ++i) {
        if ((byte_at(text, i) & 0xC0) != 0x80) {
            return {};
        }
        character.code = character.code << 6 | (byte_at(text, i) & 0x3F);
    }
    return is_well_formed(character) ? character : Character{};
}

bool is_c0(uint32_t code) {
    return code < 0x20;
}

bool is_between(uint32_t code, uint32_t first, uint32_t last) {
    return code >= first && code <= last;
}

// DEL and C1, then direction marks, embeddings and overrides, and isolates.
bool steers(uint32_t code) {
    return is_between(code, 0x7F, 0x9F) || code == 0x061C || is_between(code, 0x200E, 0x200F) ||
           is_between(code, 0x202A, 0x202E) || is_between(code, 0x2066, 0x2069);
}

constexpr char DIGITS[] = "0123456789ABCDEF";

void append_bytes(std::string &out, std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out += {'\\', 'x', DIGITS[byte_at(bytes, i) / 16], DIGITS[byte_at(bytes, i) % 16]};
    }
}

void append_code(std::string &out, uint32_t code) {
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        out += DIGITS[code >> shift & 0xF];
    }
}

} // namespace

std::string printable(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const Character character = first_of(text);
        const std::string_view bytes = text.substr(0, character.size == 0 ? 1 : character.size);
        if (character.size == 0 || is_c0(character.code) || steers(character.code)) {
            append_bytes(out, bytes);
        } else {
            out += bytes;
        }
        text.remove_prefix(bytes.size());
    }
    return out;
}

std::string printable_lines(std::string_view text) {
    std::string out;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        out += printable(text.substr(0, end)) + '\n';
        text.remove_prefix(end + 1);
    }
    return out + printable(text);
}

std::string printable_json(std::string_view json) {
    std::string out;
    while (!json.empty()) {
        const Character character = first_of(json);
        const std::string_view bytes = json.substr(0, character.size == 0 ? 1 : character.size);
        if (character.size != 0 && steers(character.code)) {
            append_code(out, character.code);
        } else {
            out += bytes;
        }
        json.remove_prefix(bytes.size());
    }
    return out;
}

} // namespace terminal
