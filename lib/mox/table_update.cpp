// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/table_update.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/address_text.h"
#include "lib/base/error_number.h"
#include "lib/base/none_values.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/adapter_index.h"
#include "lib/mox/node_adapters.h"
#include "lib/mox/service_lists.h"

namespace {

constexpr uint32_t NO_NODE = 65535;

struct Answers {
    MOX_Owned<qz_mox_cluster_info_t> cluster;
    MOX_Owned<qz_mox_node_info_t> nodes;
    MOX_Owned<qz_mox_net_intf_info_t> interfaces;
};

void trace_query_failure(const char *query, const char *cluster, int result, int error) {
    if (hb_trace_on(HB_TRACE_ERRORS)) {
        const Hb_Errno_Keeper kept;
        tr_ms_record_data_1(HB_TRACE_COMPONENT, HB_TR_QUERY_FAILED, pTokens[HB_TRACE_ERRORS], 4, query,
                            static_cast<int>(std::strlen(query) + 1), cluster,
                            static_cast<int>(std::strlen(cluster) + 1), &result, 4, &error, 4);
    }
}

Hb_Rc query_failed(int number, const char *query, const char *cluster, int result) {
    set_hb_errno(number);
    trace_query_failure(query, cluster, result, errno);
    return Hb_Failure;
}

bool is_about(const qz_orb_event_metadata_t *event, qz_orb_event_category_t a, qz_orb_event_category_t b) {
    return event != nullptr && (event->category == a || event->category == b);
}

Hb_Rc query_service(Answers &answers, const qz_orb_event_metadata_t *event) {
    int result = MOX_query(answers.cluster, [](qz_mox_cluster_info_t **info) {
        return qz_mox_get_cluster_info(orbfs_cluster_name, info);
    });
    if (result != 0 || !answers.cluster) {
        return query_failed(HB_ERROR_CLUSTER_QUERY_FAILED, "qz_mox_get_cluster_info()", "(Default)", result);
    }
    const char *name = answers.cluster->p_cluster_name != nullptr ? answers.cluster->p_cluster_name : "";
    hb_trace_strings(HB_TRACE_INFO, HB_TR_CLUSTER_NAME, name);

    if (is_about(event, QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS, QZ_ORB_EVENT_CATEGORY_NODE_LIST)) {
        result = MOX_query(answers.nodes, [&](qz_mox_node_info_t **list) {
            return qz_mox_get_node_info_after_event(orbfs_cluster_name, event, list);
        });
        if (result != 0) {
            return query_failed(HB_ERROR_NODE_QUERY_FAILED, "qz_mox_get_node_info_after_event()", name, result);
        }
    } else {
        result = MOX_query(answers.nodes, [](qz_mox_node_info_t **list) {
            return qz_mox_get_node_info(orbfs_cluster_name, list);
        });
        if (result != 0) {
            return query_failed(HB_ERROR_NODE_QUERY_FAILED, "qz_mox_get_node_info()", name, result);
        }
    }

    if (is_about(event, QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS, QZ_ORB_EVENT_CATEGORY_IP_CHANGE)) {
        result = MOX_query(answers.interfaces, [&](qz_mox_net_intf_info_t **list) {
            return qz_mox_get_net_intf_info_after_event(orbfs_cluster_name, event, list);
        });
        if (result != 0) {
            return query_failed(HB_ERROR_INTERFACE_QUERY_FAILED, "qz_mox_get_net_intf_info_after_event()", name,
                                result);
        }
    } else {
        result = MOX_query(answers.interfaces, [](qz_mox_net_intf_info_t **list) {
            return qz_mox_get_net_intf_info(orbfs_cluster_name, list);
        });
        if (result != 0) {
            return query_failed(HB_ERROR_INTERFACE_QUERY_FAILED, "qz_mox_get_net_intf_info()", name, result);
        }
    }
    return Hb_Success;
}

// Returns the only node to rebuild, or NO_NODE to rebuild all. Adapters with a daemon's numbers cannot be
// copied into a table of another stride.
uint32_t only_rebuilt_node(const qz_orb_event_metadata_t *event, const Hb_Configuration_Internal *source) {
    if (source == nullptr || event == nullptr || event->category != QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS ||
        event->event.p_node_liveness == nullptr || !MOX_has_service_numbers(*source)) {
        return NO_NODE;
    }
    const uint32_t node = event->event.p_node_liveness->node_number;
    hb_trace_values(HB_TRACE_INFO, HB_TR_SINGLE_NODE, node);
    return node;
}

void set_state(Hb_Node_Entry &entry, Hb_Entity_State state, Hb_Entity_State_Reason reason) {
    entry.state = state;
    entry.reason = reason;
}

bool is_reported_dead(const Hb_Node_Entry *node) {
    return node != nullptr && node->state == Hb_Entity_Down &&
           node->reason == Hb_Entity_State_Reason_KOBAL_Down;
}

void set_node_state(Hb_Node_Entry &entry, const qz_mox_node_info_t &info, const Hb_Node_Entry *before) {
    if (before != nullptr) {
        entry.reason = before->reason;
    }
    if (info.status == QZ_MOX_NODE_STATUS_DOWN) {
        set_state(entry, Hb_Entity_Down, Hb_Entity_State_Reason_Down);
    } else if (is_reported_dead(before)) {
        // The membership daemon's report overrides the service's "up".
        set_state(entry, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
    } else if (info.status == QZ_MOX_NODE_STATUS_UP) {
        set_state(entry, Hb_Entity_Up, Hb_Entity_State_Reason_Up);
    } else {
        entry.state = Hb_Entity_Undef;
        set_hb_errno(HB_ERROR_NODE_STATE_UNKNOWN);
        hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_UNDEFINED, info.number, info.status);
    }
}

// Indexes the entry that was filled after the last node. This and the functions below return false when
// memory is short.
bool add_node(Hb_Configuration_Internal &table) {
    return hb_index_node(table, table.Hb_num_nodes++);
}

bool copy_other_nodes(Hb_Configuration_Internal &table, const Hb_Configuration_Internal &source,
                      uint32_t only_node) {
    for (int i = 0; i < source.Hb_num_nodes && source.node_list != nullptr; ++i) {
        const Hb_Node_Entry &entry = source.node_list[i];
        if (entry.node_num < 0 || entry.node_num >= HB_NODE_SLOTS || table.Hb_num_nodes == HB_NODE_SLOTS ||
            static_cast<uint32_t>(entry.node_num) == only_node) {
            continue;
        }
        table.node_list[table.Hb_num_nodes] = entry;
        if (!add_node(table)) {
            return false;
        }
    }
    return true;
}

bool add_nodes(Hb_Configuration_Internal &table, const qz_mox_node_info_t *list,
               const Hb_Configuration_Internal *source, uint32_t only_node) {
    for (; list != nullptr && table.Hb_num_nodes < HB_NODE_SLOTS; list = list->p_next) {
        if (list->number >= HB_NODE_SLOTS || (only_node != NO_NODE && list->number != only_node) ||
            MOX_is_leaving(*list)) {
            continue;
        }
        Hb_Node_Entry &entry = table.node_list[table.Hb_num_nodes];
        entry.node_num = static_cast<Hb_Node_Number>(list->number);
        set_node_state(entry, *list, source != nullptr ? hb_find_node(*source, entry.node_num) : nullptr);
        if (!add_node(table)) {
            return false;
        }
    }
    return true;
}

void mark_local_node_up(Hb_Configuration_Internal &table) {
    Hb_Node_Entry *local = hb_find_node(table, table.local_node_number);
    if (local != nullptr && local->state != Hb_Entity_Up) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_LOCAL_NODE_PUT_UP, int{local->node_num}, local->state);
        set_state(*local, Hb_Entity_Up, Hb_Entity_State_Reason_Up);
    }
}

bool is_other_adapter(const Hb_Configuration_Internal &source, const Hb_Adapter_Entry &entry,
                      uint32_t only_node) {
    const uint32_t node = MOX_node_of(source, entry);
    return node != MOX_NO_NODE && node != only_node;
}

bool is_included(const qz_mox_net_intf_info_t &interface, uint32_t only_node) {
    return interface.node_number < HB_NODE_SLOTS &&
           (only_node == NO_NODE || interface.node_number == only_node) && !MOX_is_leaving(interface);
}

// The count is an upper bound: it includes interfaces beyond a node's slots, which are not added later.
int count_adapters(const qz_mox_net_intf_info_t *list, const Hb_Configuration_Internal *source,
                   uint32_t only_node) {
    int count = 0;
    for (; list != nullptr; list = list->p_next) {
        count += is_included(*list, only_node) ? 1 : 0;
    }
    if (only_node != NO_NODE) {
        for (int i = 0; i < source->Hb_num_adapters && source->Hb_global_adapter_list != nullptr; ++i) {
            count += is_other_adapter(*source, source->Hb_global_adapter_list[i], only_node) ? 1 : 0;
        }
    }
    return std::min<int>(count, HB_ADAPTER_SLOTS);
}

void trace_adapter(Hb_Trace_Id id, Hb_Adapter_Entry &entry) {
    if (!hb_trace_on(HB_TRACE_INFO)) {
        return;
    }
    char name[HB_ADAPTER_TYPE_SIZE + 1] = {};
    std::memcpy(name, entry.Hb_adapter_type, HB_ADAPTER_TYPE_SIZE);
    char address[INET6_ADDRSTRLEN];
    wisplib_ntop(&entry.Hb_ip_address, address);
    const Hb_Errno_Keeper kept;
    tr_ms_record_data_1(
        HB_TRACE_COMPONENT, id, pTokens[HB_TRACE_INFO], 4, name, static_cast<int>(std::strlen(name) + 1),
        address, static_cast<int>(std::strlen(address) + 1), &entry.Hb_adapter_num, 4, &entry.Hb_state, 4);
}

bool copy_other_adapters(Hb_Configuration_Internal &table, const Hb_Configuration_Internal &source,
                         uint32_t only_node, int room) {
    for (int i = 0; i < source.Hb_num_adapters && source.Hb_global_adapter_list != nullptr; ++i) {
        const Hb_Adapter_Entry &entry = source.Hb_global_adapter_list[i];
        if (!is_other_adapter(source, entry, only_node) || table.Hb_num_adapters == room) {
            continue;
        }
        const int to = table.Hb_num_adapters++;
        table.Hb_global_adapter_list[to] = entry;
        if (!hb_index_adapter(table, to)) {
            return false;
        }
        trace_adapter(HB_TR_ADAPTER_KEPT, table.Hb_global_adapter_list[to]);
    }
    return true;
}

Hb_Entity_State interface_state(const qz_mox_net_intf_info_t &interface) {
    switch (interface.status) {
    case QZ_MOX_INTF_STATUS_UP:
        return Hb_Entity_Up;
    case QZ_MOX_INTF_STATUS_DOWN:
        return Hb_Entity_Down;
    default:
        set_hb_errno(HB_ERROR_ADAPTER_STATE_UNKNOWN);
        return Hb_Entity_Undef;
    }
}

// A node's interfaces are numbered in the service's order.
bool add_interfaces(Hb_Configuration_Internal &table, const qz_mox_net_intf_info_t *list, uint32_t only_node,
                    int room) {
    uint8_t used[HB_NODE_SLOTS] = {};
    for (; list != nullptr && table.Hb_num_adapters < room; list = list->p_next) {
        if (!is_included(*list, only_node) || used[list->node_number] == MOX_ADAPTERS_PER_NODE) {
            continue;
        }
        const int to = table.Hb_num_adapters++;
        Hb_Adapter_Entry &entry = table.Hb_global_adapter_list[to];
        entry.Hb_network = 0;
        if (list->p_name != nullptr) {
            std::memcpy(entry.Hb_adapter_type, list->p_name, strnlen(list->p_name, HB_ADAPTER_TYPE_SIZE - 1));
        }
        static_assert(sizeof entry.Hb_ip_address == sizeof list->ip_addr);
        std::memcpy(&entry.Hb_ip_address, &list->ip_addr, sizeof entry.Hb_ip_address);
        entry.Hb_adapter_num = list->node_number * MOX_ADAPTERS_PER_NODE + used[list->node_number];
        ++used[list->node_number];
        entry.Hb_state = interface_state(*list);
        if (!hb_index_adapter(table, to)) {
            return false;
        }
        trace_adapter(HB_TR_ADAPTER_TAKEN, entry);
    }
    return true;
}

void name_networks(Hb_Configuration_Internal &table) {
    std::fill_n(table.Hb_global_network_list, HB_NETWORK_SLOTS, Hb_Network_Entry());
    std::strcpy(table.Hb_global_network_list[0].Hb_network_name, "MOX_Network");
    std::strcpy(table.Hb_global_network_list[0].Hb_network_type, "ether");
}

// A number that no node can have means that the local node is unknown.
Hb_Node_Number local_node_of(const qz_mox_cluster_info_t &cluster) {
    return cluster.local_node_number < HB_NODE_SLOTS ? static_cast<Hb_Node_Number>(cluster.local_node_number)
                                                     : HB_NO_NODE;
}

bool fill(Hb_Configuration_Internal &table, const Answers &answers, const Hb_Configuration_Internal *source,
          uint32_t only_node, int room) {
    table.local_node_number = local_node_of(*answers.cluster);
    table.Hb_max_nodes = HB_NODE_SLOTS;
    table.Hb_num_networks = HB_NETWORK_SLOTS;
    table.Hb_adapters_per_node = MOX_ADAPTERS_PER_NODE;
    table.Hb_num_nodes = 0;
    table.Hb_num_adapters = 0;
    if (only_node != NO_NODE && !copy_other_nodes(table, *source, only_node)) {
        return false;
    }
    if (!add_nodes(table, answers.nodes.get(), source, only_node)) {
        return false;
    }
    mark_local_node_up(table);
    if (only_node != NO_NODE && !copy_other_adapters(table, *source, only_node, room)) {
        return false;
    }
    return add_interfaces(table, answers.interfaces.get(), only_node, room);
}

} // namespace

Hb_Rc hb_mox_update_global_tbl(Hb_Configuration_Internal *cfg_table, qz_orb_event_metadata_t *event_metadata_p,
                               Hb_Configuration_Internal *src_cfg_table) {
    Answers answers;
    if (query_service(answers, event_metadata_p) != Hb_Success) {
        return Hb_Failure;
    }
    const uint32_t only_node = only_rebuilt_node(event_metadata_p, src_cfg_table);
    const int room = count_adapters(answers.interfaces.get(), src_cfg_table, only_node);
    Hb_Configuration_Internal &table = *cfg_table;
    if (!hb_make_table_lists(table, room) || !fill(table, answers, src_cfg_table, only_node, room)) {
        empty_global_config_table(&table);
        return hb_fail(HB_ERROR_NO_MEMORY);
    }
    hb_mark_present_nodes(table);
    name_networks(table);
    return Hb_Success;
}

Hb_Rc hb_mox_update_working_table(qz_orb_event_metadata_t *event_metadata_p) {
    // A thread that is cancelled during the query has read an event without reporting it. The next full
    // comparison must report it.
    const bool was_due = MOX_is_comparison_due();
    MOX_set_comparison_due(true);
    Hb_Configuration_Internal built = {};
    const Hb_Rc result = hb_mox_update_global_tbl(&built, event_metadata_p, &global_config_tbl);
    if (result == Hb_Success) {
        MOX_set_comparison_due(was_due);
        MOX_set_working_table(built);
    }
    return result;
}

bool MOX_use_prepared_table(Hb_Configuration_Internal &prepared) {
    if (prepared.node_list == nullptr) {
        return false;
    }
    for (int i = 0; i < prepared.Hb_num_nodes; ++i) {
        Hb_Node_Entry &entry = prepared.node_list[i];
        const Hb_Node_Entry *before = hb_find_node(global_config_tbl, entry.node_num);
        if (entry.state != Hb_Entity_Down && is_reported_dead(before)) {
            set_state(entry, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down);
        }
    }
    hb_mark_present_nodes(prepared);
    MOX_set_working_table(prepared);
    return true;
}

void MOX_discard_working_table() {
    if (MOX_working_table() == MOX_Working_Table::built) {
        MOX_drop_built_table();
        hb_mark_present_nodes(MOX_newest_table());
    }
}
