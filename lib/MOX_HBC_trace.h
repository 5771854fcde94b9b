// Registration of the trace component "_HBC", and the pattern of every trace point.
//
// A trace point tests its category's detail byte, and only then gathers arguments and records:
//
//     if (hb_trace_on(HB_TRACE_INFO)) {
//         tr_ms_record_values_32_1(HB_TRACE_COMPONENT, HB_TR_..., pTokens[HB_TRACE_INFO], 2, a, b);
//     }
#ifndef MOX_HBC_TRACE_H
#define MOX_HBC_TRACE_H

#include <cstdint>

#include "lib/hb_trace_ids.h"
#include "qz_tr.h"

enum Hb_Trace_Category : unsigned { HB_TRACE_ERRORS = 0, HB_TRACE_INFO = 1, HB_TRACE_DEBUG = 2 };

inline constexpr char HB_TRACE_COMPONENT[] = "_HBC";
inline constexpr uint32_t num_categories = 3;

extern const tr_category_description_t hbc_trace_categories[num_categories];
extern unsigned char hbc_trace_detail_levels[num_categories]; // owned by the trace library once registered
extern tr_file_token_t *pTokens;
extern int32_t hbc_trace_inited;

inline bool hb_trace_on(Hb_Trace_Category category) {
    return hbc_trace_detail_levels[category] != 0;
}

#endif
