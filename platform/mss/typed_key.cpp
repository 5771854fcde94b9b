// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "key_form.h"
#include "qz_mss.h"
#include "random_bytes.h"

namespace {

class Errno_Keeper {
  public:
    Errno_Keeper() : errno_(errno) {}
    ~Errno_Keeper() { errno = errno_; }
    Errno_Keeper(const Errno_Keeper &) = delete;
    Errno_Keeper &operator=(const Errno_Keeper &) = delete;

  private:
    int errno_;
};

bool allocate_key(uint32_t type, int32_t version, size_t length, sec_key_desc &key) {
    void *bytes = std::malloc(length);
    if (bytes == nullptr) {
        return false;
    }
    key = {type, version, static_cast<int32_t>(length), bytes, nullptr};
    return true;
}

std::span<unsigned char> bytes_of(const sec_key_desc &key) {
    return {static_cast<unsigned char *>(key.value), static_cast<size_t>(key.length)};
}

} // namespace

int sec_generate_typed_key(uint32_t type, int32_t key_length, sec_key_desc *key) {
    const Errno_Keeper keeper;
    if (key == nullptr) {
        return -1;
    }
    *key = {};
    if (!known_kind_of_key(type, SEC_KEY_VERSION, key_length) ||
        !allocate_key(type, SEC_KEY_VERSION, static_cast<size_t>(key_length), *key)) {
        return -1;
    }
    if (!fill_with_random_bytes(bytes_of(*key))) {
        sec_release_typed_key(key);
        *key = {};
        return -1;
    }
    return 0;
}

int sec_marshal_typed_key(const sec_key_desc *key, sec_buffer_desc *marshalled) {
    if (key == nullptr || key->value == nullptr || marshalled == nullptr || marshalled->value == nullptr ||
        !known_kind_of_key(key->type, key->version, key->length)) {
        return -1;
    }
    const auto length = static_cast<int32_t>(marshalled_length(static_cast<size_t>(key->length)));
    if (marshalled->length < length) {
        return -1;
    }
    write_key_form({key->type, key->version, bytes_of(*key)}, static_cast<unsigned char *>(marshalled->value));
    marshalled->length = length;
    return 0;
}

int sec_unmarshal_typed_key(sec_buffer_desc *marshalled, sec_key_desc *key) {
    const Errno_Keeper keeper;
    if (key == nullptr) {
        return -1;
    }
    *key = {};
    if (marshalled == nullptr || marshalled->value == nullptr || marshalled->length < 0) {
        return -1;
    }
    const auto *form = static_cast<const unsigned char *>(marshalled->value);
    const auto fields = read_key_form({form, static_cast<size_t>(marshalled->length)});
    if (!fields || !allocate_key(fields->type, fields->version, fields->bytes.size(), *key)) {
        return -1;
    }
    std::memcpy(key->value, fields->bytes.data(), fields->bytes.size());
    return 0;
}

void sec_release_typed_key(sec_key_desc *key) {
    const Errno_Keeper keeper;
    if (key == nullptr || key->value == nullptr) {
        return;
    }
    if (key->length > 0) {
        sec_wipe(key->value, static_cast<size_t>(key->length));
    }
    std::free(key->value);
}
