// SPDX-License-Identifier: Apache-2.0
#include "lib/api/subscription_bitmap.h"

#include <bit>
#include <cstring>

namespace {

constexpr int WORD_BITS = 64;

// Returns 64 bits of which the lowest number is the most significant one.
uint64_t word_at(const uint8_t *bytes) {
    uint64_t word;
    static_assert(8 * sizeof word == WORD_BITS);
    std::memcpy(&word, bytes, sizeof word);
    return std::endian::native == std::endian::big ? word : __builtin_bswap64(word);
}

} // namespace

int hb_next_bit_by_words(const uint8_t *bitmap, int start, int bound) {
    int number = start;
    while (number < bound) {
        const int first_of_byte = number / 8 * 8;
        if (bound - first_of_byte < WORD_BITS) {
            if (hb_has_bit(bitmap, static_cast<std::size_t>(number))) {
                return number;
            }
            ++number;
            continue;
        }
        const uint64_t word = word_at(bitmap + number / 8) << (number - first_of_byte);
        if (word != 0) {
            return number + std::countl_zero(word);
        }
        number = first_of_byte + WORD_BITS;
    }
    return number;
}
