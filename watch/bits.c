/* SPDX-License-Identifier: Apache-2.0 */
#include "watch/bits.h"

#include <stdlib.h>
#include <string.h>

enum { WORD = 64 };

static uint64_t bit_of(uint32_t number) {
    return (uint64_t)1 << (number % WORD);
}

int hbw_bits_reserve(Hbw_Bits *bits, uint32_t limit) {
    const uint32_t count = (limit + WORD - 1) / WORD;
    if (count > bits->count) {
        uint64_t *words = realloc(bits->words, count * sizeof *words);
        if (words == NULL) {
            return -1;
        }
        memset(words + bits->count, 0, (count - bits->count) * sizeof *words);
        bits->words = words;
        bits->count = count;
    }
    return 0;
}

void hbw_bits_free(Hbw_Bits *bits) {
    free(bits->words);
    bits->words = NULL;
    bits->count = 0;
}

void hbw_bits_clear(Hbw_Bits *bits) {
    if (bits->count > 0) {
        memset(bits->words, 0, bits->count * sizeof *bits->words);
    }
}

int hbw_bits_has(const Hbw_Bits *bits, uint32_t number) {
    return number / WORD < bits->count && (bits->words[number / WORD] & bit_of(number)) != 0;
}

void hbw_bits_add(Hbw_Bits *bits, uint32_t number) {
    if (number / WORD < bits->count) {
        bits->words[number / WORD] |= bit_of(number);
    }
}

void hbw_bits_remove(Hbw_Bits *bits, uint32_t number) {
    if (number / WORD < bits->count) {
        bits->words[number / WORD] &= ~bit_of(number);
    }
}

static uint32_t lowest_bit(uint64_t word) {
    uint32_t position = 0;
    while ((word & 1) == 0) {
        word >>= 1;
        ++position;
    }
    return position;
}

uint32_t hbw_bits_next(const Hbw_Bits *bits, uint32_t from) {
    const Hbw_Bits nothing = {NULL, 0};
    return hbw_bits_next_difference(bits, &nothing, from);
}

uint32_t hbw_bits_next_difference(const Hbw_Bits *in, const Hbw_Bits *without, uint32_t from) {
    uint64_t wanted = ~(bit_of(from) - 1); /* in the first word only what is at least `from` */
    for (uint32_t at = from / WORD; at < in->count; ++at) {
        const uint64_t excluded = at < without->count ? without->words[at] : 0;
        const uint64_t found = in->words[at] & ~excluded & wanted;
        if (found != 0) {
            return at * WORD + lowest_bit(found);
        }
        wanted = ~(uint64_t)0;
    }
    return HBW_NO_MEMBER;
}
