// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_communication/member_list.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

// Entries that are cleared at once: 16 KiB, which is half of a small nearest cache.
constexpr Hb_Adapter_Number STEP = 4096;

static_assert(HB_NOT_IN_GROUP == 0xFFFFFFFFU); // all bytes are 0xFF

void write_clear(Hb_Incarnation *list, std::size_t count) {
    std::memset(list, 0xFF, sizeof *list * count);
}

constexpr std::size_t LINES = 128; // bytes: two cache lines
constexpr int LINES_ENTRIES = LINES / sizeof(Hb_Incarnation);

// Returns the number of entries before the first one at which two cache lines begin.
std::size_t before_lines(const Hb_Incarnation *list) {
    return (-reinterpret_cast<uintptr_t>(list) % LINES) / sizeof *list;
}

// The first lines of a page are written without reading them: a page of fresh memory that is read first causes
// two page faults instead of one.
bool begins_page(const Hb_Incarnation *lines) {
    constexpr uintptr_t page = 4096;
    return reinterpret_cast<uintptr_t>(lines) % page == 0;
}

// Only a list at an address of an entry has places at which cache lines begin. Programs have made others.
bool has_lines(const Hb_Incarnation *list) {
    return reinterpret_cast<uintptr_t>(list) % sizeof *list == 0;
}

#ifdef __SSE2__

constexpr bool READS_FIRST = true;

bool are_clear(const Hb_Incarnation *lines) {
    const auto *part = static_cast<const __m128i *>(static_cast<const void *>(lines));
    __m128i all = _mm_load_si128(part);
    for (std::size_t i = 1; i < LINES / sizeof *part; ++i) {
        all = _mm_and_si128(all, _mm_load_si128(part + i));
    }
    return _mm_movemask_epi8(_mm_cmpeq_epi32(all, _mm_set1_epi32(-1))) == 0xFFFF;
}

#else

constexpr bool READS_FIRST = false; // word by word it takes longer than writing

bool are_clear(const Hb_Incarnation *lines) {
    Hb_Incarnation all = HB_NOT_IN_GROUP;
    for (int i = 0; i < LINES_ENTRIES; ++i) {
        all &= lines[i];
    }
    return all == HB_NOT_IN_GROUP;
}

#endif

} // namespace

void hb_clear_members(Hb_Incarnation *list, Hb_Adapter_Number count) {
    std::size_t rest = count;
    if (READS_FIRST && has_lines(list)) {
        const std::size_t head = std::min(before_lines(list), rest);
        write_clear(list, head);
        list += head;
        rest -= head;
        for (; rest >= LINES_ENTRIES; list += LINES_ENTRIES, rest -= LINES_ENTRIES) {
            if (begins_page(list) || !are_clear(list)) {
                write_clear(list, LINES_ENTRIES);
            }
        }
    }
    write_clear(list, rest);
}

int hb_next_member_by_lines(const Hb_Incarnation *list, int start, int bound) {
    const bool in_lines = has_lines(list);
    int adapter = start;
    while (adapter < bound && list[adapter] == HB_NOT_IN_GROUP) {
        ++adapter;
        if (in_lines && before_lines(list + adapter) == 0) {
            while (bound - adapter >= LINES_ENTRIES && are_clear(list + adapter)) {
                adapter += LINES_ENTRIES;
            }
        }
    }
    return adapter;
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
