// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/table_dump.h"

#include <cstring>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/address_text.h"

namespace {

void dump_adapter(Hb_Adapter_Entry &entry) {
    char type[HB_ADAPTER_TYPE_SIZE + 1] = {};
    std::memcpy(type, entry.Hb_adapter_type, HB_ADAPTER_TYPE_SIZE);
    char address[INET6_ADDRSTRLEN];
    wisplib_ntop(&entry.Hb_ip_address, address);
    const Hb_Errno_Keeper kept;
    tr_ms_record_data_1(HB_TRACE_COMPONENT, HB_TR_DUMP_ADAPTER, pTokens[HB_TRACE_INFO], 4, type,
                        static_cast<int>(std::strlen(type) + 1), address,
                        static_cast<int>(std::strlen(address) + 1), &entry.Hb_adapter_num, 4, &entry.Hb_state,
                        4);
}

} // namespace

void hb_mox_dump_global_table(Hb_Configuration_Internal *t, const char *label) {
    if (!hb_trace_on(HB_TRACE_INFO)) {
        return;
    }
    hb_trace_strings(HB_TRACE_INFO, HB_TR_DUMP_LABEL, label);
    hb_trace_values(HB_TRACE_INFO, HB_TR_DUMP_COUNTS, t->Hb_num_nodes, t->Hb_max_nodes,
                    int{t->local_node_number}, t->Hb_num_adapters, t->Hb_adapters_per_node, t->Hb_num_networks);
    for (int i = 0; i < t->Hb_num_nodes && t->node_list != nullptr; ++i) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_DUMP_NODE, int{t->node_list[i].node_num}, t->node_list[i].state);
    }
    for (int i = 0; i < t->Hb_num_adapters && t->Hb_global_adapter_list != nullptr; ++i) {
        dump_adapter(t->Hb_global_adapter_list[i]);
    }
}
