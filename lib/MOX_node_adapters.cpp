#include "lib/MOX_node_adapters.h"

#include <cerrno>

#include "lib/MOX_HBC_trace.h"
#include "lib/MOX_adapter_index.h"
#include "lib/MOX_event_construction.h"
#include "lib/MOX_service_lists.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/error_number.h"

int MOX_take_down_adapters_of_node(int node, MOX_Event **ev) {
    Hb_Configuration_Internal &table = global_config_tbl;
    int count = 0;
    for (int i = 0; i < table.Hb_num_adapters && table.Hb_global_adapter_list != nullptr; ++i) {
        Hb_Adapter_Entry &adapter = table.Hb_global_adapter_list[i];
        if (node < 0 || MOX_node_of(table, adapter) != static_cast<uint32_t>(node) ||
            adapter.Hb_state != Hb_Entity_Up) {
            continue;
        }
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_ADAPTER_DOWN_WITH_NODE, node, adapter.Hb_adapter_num);
        MOX_construct_an_adapter_event(ev, HB_EVENT_DEATH, adapter.Hb_adapter_num);
        ++count;
        adapter.Hb_state = Hb_Entity_Down;
    }
    return count;
}

Hb_Rc MOX_add_up_adapters_of_node(int node, MOX_Event **ev, int &count) {
    if (orbfs_cluster_name == nullptr) {
        hb_trace_id(HB_TRACE_INFO, HB_TR_NO_CLUSTER_NAME_FOR_ADAPTERS);
    }
    MOX_Owned<qz_mox_net_intf_info_t> interfaces;
    const int result = MOX_query(interfaces, [](qz_mox_net_intf_info_t **list) {
        return qz_mox_get_net_intf_info(orbfs_cluster_name, list);
    });
    if (result != 0) {
        set_hb_errno(65);
        hb_trace_values(HB_TRACE_INFO, HB_TR_NO_ADAPTERS_OF_NODE, result, errno, 65);
        return Hb_Failure;
    }
    int slot = 0;
    for (const qz_mox_net_intf_info_t *interface = interfaces.get(); interface != nullptr;
         interface = interface->p_next) {
        if (node < 0 || node >= HB_NODE_SLOTS || interface->node_number != static_cast<uint32_t>(node) ||
            slot == MOX_ADAPTERS_PER_NODE) {
            continue;
        }
        const int adapter = node * MOX_ADAPTERS_PER_NODE + slot++;
        if (interface->status == QZ_MOX_INTF_STATUS_UP) {
            MOX_construct_an_adapter_event(ev, HB_EVENT_JOIN, static_cast<Hb_Adapter_Number>(adapter));
            ++count;
        }
    }
    return Hb_Success;
}

void MOX_match_adapters_of_node(Hb_Configuration_Internal &table, int node, const MOX_Event *joined) {
    for (int i = 0; i < table.Hb_num_adapters && table.Hb_global_adapter_list != nullptr; ++i) {
        Hb_Adapter_Entry &adapter = table.Hb_global_adapter_list[i];
        if (node < 0 || MOX_node_of(table, adapter) != static_cast<uint32_t>(node) ||
            adapter.Hb_adapter_num >= HB_ADAPTER_SLOTS) {
            continue;
        }
        const bool told = joined != nullptr && joined->group.Hb_membership_grp_union.Hb_adapter_membership_grp
                                                       .Hb_adapter_list[adapter.Hb_adapter_num] == 0;
        if (told) {
            adapter.Hb_state = Hb_Entity_Up;
        } else if (adapter.Hb_state == Hb_Entity_Up) {
            adapter.Hb_state = Hb_Entity_Down;
        }
    }
}
