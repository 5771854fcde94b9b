// SPDX-License-Identifier: Apache-2.0
#include "tests/protocol/keys_watched_calls.h"

#include <algorithm>
#include <cstdlib>

namespace hb_test {
namespace {

Watched_Calls *watching = nullptr;

} // namespace

Watched_Calls::Watched_Calls() {
    watching = this;
}

Watched_Calls::~Watched_Calls() {
    watching = nullptr;
}

} // namespace hb_test

using hb_test::watching;

extern "C" {

int __real_sec_unmarshal_typed_key(sec_buffer_desc *marshalled, sec_key_desc *key);
void __real_sec_release_typed_key(sec_key_desc *key);
void __real_explicit_bzero(void *memory, size_t length);

int __wrap_sec_unmarshal_typed_key(sec_buffer_desc *marshalled, sec_key_desc *key);
void __wrap_sec_release_typed_key(sec_key_desc *key);
void __wrap_explicit_bzero(void *memory, size_t length);
// An optimized build calls this instead; `room` is the array's size as the compiler knows it.
void __wrap___explicit_bzero_chk(void *memory, size_t length, size_t room);

int __wrap_sec_unmarshal_typed_key(sec_buffer_desc *marshalled, sec_key_desc *key) {
    if (watching == nullptr) {
        return __real_sec_unmarshal_typed_key(marshalled, key);
    }
    const auto number = static_cast<int>(watching->unmarshallings.size());
    watching->unmarshallings.push_back({marshalled->value, marshalled->length});
    return watching->unmarshal ? watching->unmarshal(number, marshalled, key)
                               : __real_sec_unmarshal_typed_key(marshalled, key);
}

void __wrap_sec_release_typed_key(sec_key_desc *key) {
    if (watching != nullptr) {
        watching->released.push_back(*key);
        if (!watching->release_for_real) {
            return;
        }
    }
    __real_sec_release_typed_key(key);
}

void __wrap_explicit_bzero(void *memory, size_t length) {
    __real_explicit_bzero(memory, length);
    if (watching == nullptr || length != 256) {
        return;
    }
    const auto *bytes = static_cast<const unsigned char *>(memory);
    const bool zero = std::all_of(bytes, bytes + length, [](unsigned char byte) { return byte == 0; });
    if (!watching->unmarshallings.empty() && watching->unmarshallings.back().form == memory) {
        watching->unmarshallings.back().wiped = zero;
    }
}

void __wrap___explicit_bzero_chk(void *memory, size_t length, size_t room) {
    if (length > room) {
        std::abort();
    }
    __wrap_explicit_bzero(memory, length);
}

} // extern "C"

namespace hb_test {

int real_unmarshal(sec_buffer_desc *marshalled, sec_key_desc *key) {
    return __real_sec_unmarshal_typed_key(marshalled, key);
}

} // namespace hb_test
