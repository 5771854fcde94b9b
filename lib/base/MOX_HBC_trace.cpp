// SPDX-License-Identifier: Apache-2.0
#include "lib/base/MOX_HBC_trace.h"

#include <atomic>

#include "hb_client.h"
#include "lib/base/lock.h"

const tr_category_description_t hbc_trace_categories[num_categories] = {
    {0, "Errors", 0, 0}, {1, "Info", 1, 0}, {2, "Debug", 2, 0}};
unsigned char hbc_trace_detail_levels[num_categories] = {};
tr_file_token_t *pTokens = nullptr;
int32_t hbc_trace_inited = 0;

void hbc_initialize_trace_once() {
    const std::atomic_ref<int32_t> inited(hbc_trace_inited);
    if (inited.load(std::memory_order_acquire) != 0) {
        return;
    }
    const Hb_Locked lock(hb_tracing_lock);
    if (lock.entered() && inited.load(std::memory_order_relaxed) == 0) {
        tr_ms_register_component_1(HB_TRACE_COMPONENT, hbc_trace_detail_levels, hbc_trace_categories,
                                   num_categories, &pTokens);
        inited.store(1, std::memory_order_release);
    }
}
