// SPDX-License-Identifier: Apache-2.0
// Bytes written by hand: the bytes that tests send and the bytes that they expect.
//
// Nothing here uses the library's own structures, so that one wrong structure cannot make both sides of a
// comparison wrong.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace hb_test {

// Integers are written in the byte order of the test machines: lowest byte first.
class Bytes : public std::vector<unsigned char> {
  public:
    Bytes() = default;
    Bytes(std::initializer_list<unsigned char> bytes) : std::vector<unsigned char>(bytes) {}

    Bytes &u8(unsigned value);
    Bytes &i16(int value);
    Bytes &i32(int64_t value);                                  // from -2^31 to 2^32 - 1
    Bytes &text(std::string_view text, std::size_t field_size); // cut at the field's size, filled with NULs
    Bytes &fill(std::size_t count, unsigned char value);
    Bytes &zeros(std::size_t count) { return fill(count, 0); }
    Bytes &add(const Bytes &more);
    Bytes &raw(std::string_view more);
    // Overwrite existing bytes.
    Bytes &put(std::size_t offset, const Bytes &bytes);
    Bytes &put_i32(std::size_t offset, int64_t value) { return put(offset, Bytes().i32(value)); }

    Bytes first(std::size_t count) const;
    Bytes from(std::size_t offset) const;
    Bytes part(std::size_t offset, std::size_t count) const;
    int32_t i32_at(std::size_t offset) const;
};

Bytes bytes_of(const void *memory, std::size_t size);
template <typename T> Bytes bytes_of(const T &object) {
    return bytes_of(&object, sizeof object);
}

std::string hex(const Bytes &bytes);

// For EXPECT_TRUE: reports where the two first differ.
testing::AssertionResult same_bytes(const Bytes &expected, const Bytes &actual);

} // namespace hb_test
