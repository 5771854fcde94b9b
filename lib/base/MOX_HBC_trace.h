// SPDX-License-Identifier: Apache-2.0
// Registration of the trace component "_HBC", and the pattern of every trace point.
//
// A trace point tests its category's detail byte before it gathers arguments. The functions below do this for
// arguments that cost nothing to gather. A point that must first build a text tests with hb_trace_on. None of
// them changes errno.
#pragma once

#include <cstdint>

#include "lib/base/errno_keeper.h"
#include "lib/base/trace_ids.h"
#include "qz_tr.h"

enum Hb_Trace_Category : unsigned { HB_TRACE_ERRORS = 0, HB_TRACE_INFO = 1, HB_TRACE_DEBUG = 2 };

inline constexpr char HB_TRACE_COMPONENT[] = "_HBC";
inline constexpr uint32_t num_categories = 3;

extern const tr_category_description_t hbc_trace_categories[num_categories];
extern unsigned char hbc_trace_detail_levels[num_categories]; // owned by the trace library after registration
extern tr_file_token_t *pTokens;                              // one for each category; null before registration
extern int32_t hbc_trace_inited;

// A rejected registration returns no tokens. Nothing is traced then, whatever the detail bytes are.
inline bool hb_trace_on(Hb_Trace_Category category) {
    return hbc_trace_detail_levels[category] != 0 && pTokens != nullptr;
}

inline void hb_trace_id(Hb_Trace_Category category, Hb_Trace_Id id) {
    if (hb_trace_on(category)) {
        const Hb_Errno_Keeper kept;
        tr_ms_record_id_1(HB_TRACE_COMPONENT, id, pTokens[category]);
    }
}

// Each value has 32 bits or fewer.
template <typename... Value> void hb_trace_values(Hb_Trace_Category category, Hb_Trace_Id id, Value... values) {
    static_assert((... && (sizeof(Value) <= sizeof(uint32_t))));
    if (hb_trace_on(category)) {
        const Hb_Errno_Keeper kept;
        tr_ms_record_values_32_1(HB_TRACE_COMPONENT, id, pTokens[category], sizeof...(values), values...);
    }
}

// Each text is NUL-terminated.
template <typename... Text> void hb_trace_strings(Hb_Trace_Category category, Hb_Trace_Id id, Text... texts) {
    if (hb_trace_on(category)) {
        const Hb_Errno_Keeper kept;
        tr_ms_record_strings_1(HB_TRACE_COMPONENT, id, pTokens[category], sizeof...(texts), texts...);
    }
}
