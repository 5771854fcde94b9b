// SPDX-License-Identifier: Apache-2.0
#include "key_form.h"

#include <cstring>

#include <boost/crc.hpp>

#include "qz_mss.h"

namespace {

constexpr unsigned char MAGIC[4] = {'Q', 'Z', 'T', 'K'};

constexpr size_t VERSION_OFFSET = 4;
constexpr size_t TYPE_OFFSET = 8;
constexpr size_t LENGTH_OFFSET = 12;
constexpr size_t HEADER_SIZE = 16;
constexpr size_t CHECKSUM_SIZE = 4;

static_assert(HEADER_SIZE + SEC_KEY_MAX_LENGTH + CHECKSUM_SIZE == SEC_MARSHALLED_KEY_SIZE);

// Writes little endian on every machine, because another machine may read the form.
void put_32(unsigned char *out, uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        out[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

uint32_t get_32(const unsigned char *in) {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        value |= static_cast<uint32_t>(in[i]) << (8 * i);
    }
    return value;
}

uint32_t checksum_of(const unsigned char *bytes, size_t length) {
    boost::crc_32_type crc;
    crc.process_bytes(bytes, length);
    return crc.checksum();
}

} // namespace

bool known_kind_of_key(uint32_t type, int32_t version, int32_t length) {
    if (version != SEC_KEY_VERSION) {
        return false;
    }
    switch (type) {
    case SEC_KEY_TYPE_HMAC_SHA256:
    case SEC_KEY_TYPE_HMAC_SHA512:
        return length >= SEC_KEY_MIN_LENGTH && length <= SEC_KEY_MAX_LENGTH;
    case SEC_KEY_TYPE_AES_CMAC:
        return length == 16 || length == 24 || length == 32;
    default:
        return false;
    }
}

size_t marshalled_length(size_t key_length) {
    return HEADER_SIZE + key_length + CHECKSUM_SIZE;
}

void write_key_form(const Key_Fields &key, unsigned char *out) {
    const size_t checked = HEADER_SIZE + key.bytes.size();
    std::memcpy(out, MAGIC, sizeof MAGIC);
    put_32(out + VERSION_OFFSET, static_cast<uint32_t>(key.version));
    put_32(out + TYPE_OFFSET, key.type);
    put_32(out + LENGTH_OFFSET, static_cast<uint32_t>(key.bytes.size()));
    std::memcpy(out + HEADER_SIZE, key.bytes.data(), key.bytes.size());
    put_32(out + checked, checksum_of(out, checked));
}

std::optional<Key_Fields> read_key_form(std::span<const unsigned char> form) {
    if (form.size() < HEADER_SIZE || std::memcmp(form.data(), MAGIC, sizeof MAGIC) != 0) {
        return std::nullopt;
    }
    const auto version = static_cast<int32_t>(get_32(form.data() + VERSION_OFFSET));
    const uint32_t type = get_32(form.data() + TYPE_OFFSET);
    const auto length = static_cast<int32_t>(get_32(form.data() + LENGTH_OFFSET));
    if (!known_kind_of_key(type, version, length)) {
        return std::nullopt;
    }
    const auto key_length = static_cast<size_t>(length);
    if (form.size() != marshalled_length(key_length)) {
        return std::nullopt;
    }
    const size_t checked = HEADER_SIZE + key_length;
    if (get_32(form.data() + checked) != checksum_of(form.data(), checked)) {
        return std::nullopt;
    }
    return Key_Fields{type, version, form.subspan(HEADER_SIZE, key_length)};
}
