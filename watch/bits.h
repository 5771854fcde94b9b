/* SPDX-License-Identifier: Apache-2.0 */
/* A set of small numbers. */
#pragma once

#include <stdint.h>

typedef struct Hbw_Bits {
    uint64_t *words;
    uint32_t count; /* of words */
} Hbw_Bits;

/* Makes room for the numbers below `limit`.  Keeps the members.  Returns 0, or -1 without memory. */
int hbw_bits_reserve(Hbw_Bits *bits, uint32_t limit);
void hbw_bits_free(Hbw_Bits *bits);
void hbw_bits_clear(Hbw_Bits *bits);

/* A number beyond the room is not a member, and cannot become one. */
int hbw_bits_has(const Hbw_Bits *bits, uint32_t number);
void hbw_bits_add(Hbw_Bits *bits, uint32_t number);
void hbw_bits_remove(Hbw_Bits *bits, uint32_t number);

/* "No member": what the searches return at the end. */
#define HBW_NO_MEMBER 0xFFFFFFFFU

/* Returns the first member that is at least `from`. */
uint32_t hbw_bits_next(const Hbw_Bits *bits, uint32_t from);
/* Returns the first number from `from` that `in` has and `without` does not have. */
uint32_t hbw_bits_next_difference(const Hbw_Bits *in, const Hbw_Bits *without, uint32_t from);
