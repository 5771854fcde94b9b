// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_communication/member_list.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "lib/base/none_values.h"

namespace {

constexpr Hb_Adapter_Number STEP =
    4096; // entries that are cleared at once: 16 KiB, half of a small nearest cache

static_assert(HB_NOT_IN_GROUP == 0xFFFFFFFFU); // all bytes are 0xFF

void write_clear(Hb_Incarnation *list, std::size_t count) {
    std::memset(list, 0xFF, sizeof *list * count);
}

#ifdef __SSE2__

constexpr std::size_t LINES = 128; // bytes: two cache lines

bool is_clear(const Hb_Incarnation *lines) {
    const auto *part = static_cast<const __m128i *>(static_cast<const void *>(lines));
    __m128i all = _mm_load_si128(part);
    for (std::size_t i = 1; i < LINES / sizeof *part; ++i) {
        all = _mm_and_si128(all, _mm_load_si128(part + i));
    }
    return _mm_movemask_epi8(_mm_cmpeq_epi32(all, _mm_set1_epi32(-1))) == 0xFFFF;
}

// Returns the number of entries before the first one at which a cache line begins.
std::size_t before_first_line(const Hb_Incarnation *list) {
    return (-reinterpret_cast<uintptr_t>(list) % LINES) / sizeof *list;
}

#endif

} // namespace

void hb_clear_members(Hb_Incarnation *list, Hb_Adapter_Number count) {
    std::size_t rest = count;
#ifdef __SSE2__
    const std::size_t head = std::min(before_first_line(list), rest);
    write_clear(list, head);
    list += head;
    rest -= head;
    constexpr std::size_t ENTRIES = LINES / sizeof *list;
    for (; rest >= ENTRIES; list += ENTRIES, rest -= ENTRIES) {
        if (!is_clear(list)) {
            write_clear(list, ENTRIES);
        }
    }
#endif
    write_clear(list, rest);
}

void Hb_Member_List::clear_beyond(Hb_Adapter_Number adapter) {
    const Hb_Adapter_Number end = std::min(bound_, (adapter / STEP + 1) * STEP);
    if (end > cleared_) {
        hb_clear_members(list_ + cleared_, end - cleared_);
        cleared_ = end;
    }
}

void Hb_Member_List::finish() {
    if (bound_ > cleared_) {
        hb_clear_members(list_ + cleared_, bound_ - cleared_);
        cleared_ = bound_;
    }
}
