// SPDX-License-Identifier: Apache-2.0
#include "tests/support/bytes.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace hb_test {

Bytes &Bytes::u8(unsigned value) {
    push_back(static_cast<unsigned char>(value & 0xFFU));
    return *this;
}

Bytes &Bytes::i16(int value) {
    if (value < -0x8000 || value > 0xFFFF) {
        throw std::out_of_range("no 16-bit value");
    }
    const auto bits = static_cast<unsigned>(value);
    return u8(bits).u8(bits >> 8U);
}

Bytes &Bytes::i32(int64_t value) {
    if (value < -0x80000000LL || value > 0xFFFFFFFFLL) {
        throw std::out_of_range("no 32-bit value");
    }
    const auto bits = static_cast<uint32_t>(value);
    return u8(bits).u8(bits >> 8U).u8(bits >> 16U).u8(bits >> 24U);
}

Bytes &Bytes::text(std::string_view text, std::size_t field_size) {
    const std::string_view kept = text.substr(0, field_size);
    return raw(kept).zeros(field_size - kept.size());
}

Bytes &Bytes::fill(std::size_t count, unsigned char value) {
    insert(end(), count, value);
    return *this;
}

Bytes &Bytes::add(const Bytes &more) {
    const Bytes copy = more; // `more` may be this very object
    insert(end(), copy.begin(), copy.end());
    return *this;
}

Bytes &Bytes::raw(std::string_view more) {
    insert(end(), more.begin(), more.end());
    return *this;
}

Bytes &Bytes::put(std::size_t offset, const Bytes &bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        at(offset + i) = bytes[i];
    }
    return *this;
}

Bytes Bytes::first(std::size_t count) const {
    return part(0, count);
}

Bytes Bytes::from(std::size_t offset) const {
    return part(offset, size());
}

Bytes Bytes::part(std::size_t offset, std::size_t count) const {
    const std::size_t start = std::min(offset, size());
    const std::size_t kept = std::min(count, size() - start);
    Bytes piece;
    piece.assign(begin() + static_cast<std::ptrdiff_t>(start),
                 begin() + static_cast<std::ptrdiff_t>(start + kept));
    return piece;
}

int32_t Bytes::i32_at(std::size_t offset) const {
    uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= static_cast<uint32_t>(at(offset + i)) << (8U * i);
    }
    return static_cast<int32_t>(value);
}

Bytes bytes_of(const void *memory, std::size_t size) {
    Bytes copy;
    copy.resize(size);
    std::copy_n(static_cast<const unsigned char *>(memory), size, copy.begin());
    return copy;
}

std::string hex(const Bytes &bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
        text += ' ';
    }
    return text;
}

testing::AssertionResult same_bytes(const Bytes &expected, const Bytes &actual) {
    const std::size_t common = std::min(expected.size(), actual.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (expected[i] != actual[i]) {
            return testing::AssertionFailure()
                   << "byte " << i << " differs\n  expected there: " << hex(expected.part(i, 16))
                   << "\n  found there:    " << hex(actual.part(i, 16));
        }
    }
    if (expected.size() != actual.size()) {
        return testing::AssertionFailure() << "the first " << common << " bytes agree, but " << expected.size()
                                           << " were expected and " << actual.size() << " found";
    }
    return testing::AssertionSuccess();
}

} // namespace hb_test
