// SPDX-License-Identifier: Apache-2.0
// A key descriptor that is released at the end of a test, also after a failure.
#pragma once

#include <cstring>

#include "qz_mss.h"
#include "tests/support/bytes.h"

struct Owned_Key : sec_key_desc {
    // Content that the library must not treat as its own key.
    Owned_Key() : sec_key_desc{} { std::memset(static_cast<sec_key_desc *>(this), 0xA5, sizeof(sec_key_desc)); }
    ~Owned_Key() {
        if (filled) {
            sec_release_typed_key(this);
        }
    }
    Owned_Key(const Owned_Key &) = delete;
    Owned_Key &operator=(const Owned_Key &) = delete;

    int generate(uint32_t with_type, int32_t with_length) {
        const int result = sec_generate_typed_key(with_type, with_length, this);
        filled = result == 0;
        return result;
    }

    // Reads from memory of exactly the form's size, so that a sanitizer detects a read beyond it.
    int unmarshal(const hb_test::Bytes &form) {
        const std::vector<unsigned char> copy(form.begin(), form.end());
        return unmarshal(static_cast<int32_t>(form.size()), const_cast<unsigned char *>(copy.data()));
    }
    int unmarshal(int32_t form_length, void *form) {
        sec_buffer_desc marshalled = {form_length, form};
        const int result = sec_unmarshal_typed_key(&marshalled, this);
        filled = result == 0;
        return result;
    }

    hb_test::Bytes bytes() const { return hb_test::bytes_of(value, static_cast<std::size_t>(length)); }

    bool is_zeroed() const {
        return type == 0 && version == 0 && length == 0 && value == nullptr && schedule == nullptr;
    }

    bool filled = false;
};
