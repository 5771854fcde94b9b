// SPDX-License-Identifier: Apache-2.0
// The marshalled form of a typed key (docs/keys.md). These functions convert bytes and fields and own no
// memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

// A key with a valid combination of type, version and length. It does not own its bytes.
struct Key_Fields {
    uint32_t type;
    int32_t version;
    std::span<const unsigned char> bytes;
};

bool known_kind_of_key(uint32_t type, int32_t version, int32_t length);

size_t marshalled_length(size_t key_length);

// Writes marshalled_length(key.bytes.size()) bytes.
void write_key_form(const Key_Fields &key, unsigned char *out);

// Returns nothing unless the form is exactly one well-formed key. The key's bytes lie inside the form.
std::optional<Key_Fields> read_key_form(std::span<const unsigned char> form);
