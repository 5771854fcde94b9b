// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/node_adapters.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/mox/adapter_index.h"
#include "lib/mox/event_construction.h"
#include "lib/mox/service_lists.h"

namespace {

// Calls work(adapter) for each adapter whose number is one of the node's, in the order of the list.
template <typename Work> void for_each_number(const Hb_Configuration_Internal &table, int node, Work work) {
    Hb_Adapter_Entry *found[HB_NETWORK_SLOTS];
    int count = 0;
    const auto per_node = static_cast<uint64_t>(table.Hb_adapters_per_node);
    const uint64_t first = static_cast<uint64_t>(node) * per_node;
    for (uint64_t number = first; number < first + per_node && number < HB_ADAPTER_SLOTS; ++number) {
        auto *adapter = static_cast<Hb_Adapter_Entry *>(
            Hash_search(static_cast<Hb_Adapter_Number>(number), table.adap_hash));
        if (adapter != nullptr) {
            found[count++] = adapter;
        }
    }
    std::sort(found, found + count);
    for (int i = 0; i < count; ++i) {
        work(*found[i]);
    }
}

// Calls work(adapter) for each of the node's adapters in the table, in the order of the list.
template <typename Work> void for_each_adapter(const Hb_Configuration_Internal &table, int node, Work work) {
    if (node < 0 || table.Hb_global_adapter_list == nullptr || table.Hb_adapters_per_node <= 0) {
        return;
    }
    if (table.Hb_adapters_per_node <= HB_NETWORK_SLOTS && hb_has_distinct_numbers(table)) {
        for_each_number(table, node, work);
        return;
    }
    for (int i = 0; i < table.Hb_num_adapters; ++i) {
        Hb_Adapter_Entry &adapter = table.Hb_global_adapter_list[i];
        if (MOX_node_of(table, adapter) == static_cast<uint32_t>(node) &&
            adapter.Hb_adapter_num < HB_ADAPTER_SLOTS) {
            work(adapter);
        }
    }
}

// The node's adapters in a table, found by interface name and address: these identify an adapter in every
// table.
class Adapters_Of_Node {
  public:
    Adapters_Of_Node(const Hb_Configuration_Internal &table, int node) {
        for_each_adapter(table, node, [this](const Hb_Adapter_Entry &adapter) {
            if (count_ < MOX_ADAPTERS_PER_NODE) {
                adapters_[count_++] = &adapter;
            }
        });
    }
    const Hb_Adapter_Entry *find(const char *name, const void *address) const {
        for (int i = 0; i < count_; ++i) {
            const Hb_Adapter_Entry &adapter = *adapters_[i];
            if (std::strncmp(adapter.Hb_adapter_type, name, HB_ADAPTER_TYPE_SIZE - 1) == 0 &&
                std::memcmp(&adapter.Hb_ip_address, address, sizeof adapter.Hb_ip_address) == 0) {
                return &adapter;
            }
        }
        return nullptr;
    }
    bool has_up(const Hb_Adapter_Entry &adapter) const {
        const Hb_Adapter_Entry *same = find(adapter.Hb_adapter_type, &adapter.Hb_ip_address);
        return same != nullptr && same->Hb_state == Hb_Entity_Up;
    }

  private:
    const Hb_Adapter_Entry *adapters_[MOX_ADAPTERS_PER_NODE] = {};
    int count_ = 0;
};

bool joins(const MOX_Event *event, const Hb_Adapter_Entry &adapter) {
    return event != nullptr && event->group.Hb_membership_grp_union.Hb_adapter_membership_grp
                                       .Hb_adapter_list[adapter.Hb_adapter_num] == 0;
}

} // namespace

bool MOX_has_service_numbers(const Hb_Configuration_Internal &table) {
    return table.Hb_num_adapters == 0 || table.Hb_adapters_per_node == MOX_ADAPTERS_PER_NODE;
}

int MOX_mark_adapters_of_node_down(int node, MOX_Event **ev) {
    int count = 0;
    for_each_adapter(global_config_tbl, node, [&](Hb_Adapter_Entry &adapter) {
        if (adapter.Hb_state == Hb_Entity_Up) {
            hb_trace_values(HB_TRACE_ERRORS, HB_TR_ADAPTER_DOWN_WITH_NODE, node, adapter.Hb_adapter_num);
            MOX_construct_an_adapter_event(ev, HB_EVENT_DEATH, adapter.Hb_adapter_num);
            ++count;
            adapter.Hb_state = Hb_Entity_Down;
        }
    });
    return count;
}

Hb_Rc MOX_add_up_adapters_of_node(const Hb_Configuration_Internal &table, int node, MOX_Event **ev,
                                  int &count) {
    if (orbfs_cluster_name == nullptr) {
        hb_trace_id(HB_TRACE_INFO, HB_TR_NO_CLUSTER_NAME_FOR_ADAPTERS);
    }
    MOX_Owned<qz_mox_net_intf_info_t> interfaces;
    const int result = MOX_query(interfaces, [](qz_mox_net_intf_info_t **list) {
        return qz_mox_get_net_intf_info(orbfs_cluster_name, list);
    });
    if (result != 0) {
        set_hb_errno(HB_ERROR_INTERFACE_QUERY_FAILED);
        hb_trace_values(HB_TRACE_INFO, HB_TR_NO_ADAPTERS_OF_NODE, result, errno,
                        HB_ERROR_INTERFACE_QUERY_FAILED);
        return Hb_Failure;
    }
    if (node < 0 || node >= HB_NODE_SLOTS) {
        return Hb_Success;
    }
    const Adapters_Of_Node numbered(table, node);
    const Adapters_Of_Node live(global_config_tbl, node);
    for (const qz_mox_net_intf_info_t *interface = interfaces.get(); interface != nullptr;
         interface = interface->p_next) {
        if (interface->node_number != static_cast<uint32_t>(node) || MOX_is_leaving(*interface) ||
            interface->status != QZ_MOX_INTF_STATUS_UP) {
            continue;
        }
        const char *name = interface->p_name != nullptr ? interface->p_name : "";
        const Hb_Adapter_Entry *adapter = numbered.find(name, &interface->ip_addr);
        if (adapter != nullptr && !live.has_up(*adapter) && !joins(ev != nullptr ? *ev : nullptr, *adapter)) {
            MOX_construct_an_adapter_event(ev, HB_EVENT_JOIN, adapter->Hb_adapter_num);
            ++count;
        }
    }
    return Hb_Success;
}

void MOX_match_adapters_of_node(Hb_Configuration_Internal &table, int node, const MOX_Event *joined) {
    const Adapters_Of_Node live(global_config_tbl, node);
    for_each_adapter(table, node, [&](Hb_Adapter_Entry &adapter) {
        if (joins(joined, adapter)) {
            adapter.Hb_state = Hb_Entity_Up;
        } else if (adapter.Hb_state == Hb_Entity_Up && !live.has_up(adapter)) {
            adapter.Hb_state = Hb_Entity_Down;
        }
    });
}

void MOX_mark_adapters_of_node_up(int node, const MOX_Event *joined) {
    for_each_adapter(global_config_tbl, node, [&](Hb_Adapter_Entry &adapter) {
        if (joins(joined, adapter)) {
            adapter.Hb_state = Hb_Entity_Up;
        }
    });
}

int MOX_add_stale_adapters_of_node(const Hb_Configuration_Internal &table, int node, MOX_Event **ev) {
    const Adapters_Of_Node next(table, node);
    int count = 0;
    for_each_adapter(global_config_tbl, node, [&](const Hb_Adapter_Entry &adapter) {
        if (adapter.Hb_state == Hb_Entity_Up && !next.has_up(adapter)) {
            MOX_construct_an_adapter_event(ev, HB_EVENT_DEATH, adapter.Hb_adapter_num);
            ++count;
        }
    });
    return count;
}
