// SPDX-License-Identifier: Apache-2.0
// The bitmap of a subscription group. The most significant bit of each byte has the lowest number.
#pragma once

#include <cstddef>
#include <cstdint>

inline unsigned hb_bit_mask(std::size_t number) {
    return 0x80U >> (number % 8);
}

inline bool hb_has_bit(const uint8_t *bitmap, std::size_t number) {
    return (bitmap[number / 8] & hb_bit_mask(number)) != 0;
}

// The part of hb_next_bit that skips numbers. It looks at 64 bits at once.
int hb_next_bit_by_words(const uint8_t *bitmap, int start, int bound);

// Returns the first number from `start` to below `bound` whose bit is set. Without one it returns the larger of
// the two.
inline int hb_next_bit(const uint8_t *bitmap, int start, int bound) {
    const bool is_at_once = start < bound && hb_has_bit(bitmap, static_cast<std::size_t>(start));
    return is_at_once ? start : hb_next_bit_by_words(bitmap, start, bound);
}
