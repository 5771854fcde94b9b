// SPDX-License-Identifier: Apache-2.0
#include "lib/api/hb_configuration.h"

#include <cstring>

#include "lib/api/argument_check.h"
#include "lib/api/iteration.h"
#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/address_text.h"
#include "lib/base/errno_keeper.h"
#include "lib/base/none_values.h"
#include "lib/base/text.h"
#include "lib/hb_global_data/adapter_address.h"
#include "lib/hb_global_data/adapter_run.h"
#include "lib/hb_global_data/configuration_checks.h"

static Hb_Adapter_Number adapter_in_slot(Hb_Node_Number node, int slot) {
    const Hb_Adapter_Number stride = static_cast<Hb_Adapter_Number>(global_config_tbl.Hb_adapters_per_node);
    return static_cast<Hb_Adapter_Number>(node) * stride + static_cast<Hb_Adapter_Number>(slot);
}

// ---- Counts ----

Hb_Rc hb_get_my_node_number(Hb_Node_Number *node) {
    if (!hb_ready(node)) {
        return Hb_Failure;
    }
    *node = global_config_tbl.local_node_number;
    return Hb_Success;
}

static Hb_Rc write_count(int *count, const int &source) {
    if (!hb_ready(count)) {
        return Hb_Failure;
    }
    *count = source;
    return Hb_Success;
}

Hb_Rc hb_get_number_of_configured_nodes(int *count) {
    return write_count(count, global_num_nodes);
}

Hb_Rc hb_get_number_of_configured_networks(int *count) {
    return write_count(count, global_config_tbl.Hb_num_networks);
}

Hb_Rc hb_get_number_of_configured_adapters(int *count) {
    return write_count(count, global_config_tbl.Hb_num_adapters);
}

Hb_Rc hb_get_number_of_configured_sites(int *count) {
    return write_count(count, global_num_sites);
}

// ---- Iterations ----

Hb_Rc process_node_number_list(Hb_Node_Number *node, Hb_Cursor *cursor, int first) {
    if (!hb_ready(node, cursor)) {
        return Hb_Failure;
    }
    return hb_iterate_numbers(node, HB_NO_NODE, cursor, first != 0, hb_node_bound(),
                              [](int n) { return global_node_tbl[n] != Hb_False; });
}

Hb_Rc hb_get_first_configured_node_number(Hb_Node_Number *node, Hb_Cursor *cursor) {
    return process_node_number_list(node, cursor, 1);
}

Hb_Rc hb_get_next_configured_node_number(Hb_Node_Number *node, Hb_Cursor *cursor) {
    return process_node_number_list(node, cursor, 0);
}

Hb_Rc process_site_number_list(Hb_Site_Number *site, Hb_Cursor *cursor, int first) {
    if (!hb_ready(site, cursor)) {
        return Hb_Failure;
    }
    return hb_iterate_numbers(site, HB_NO_SITE, cursor, first != 0, hb_site_bound(),
                              [](int s) { return global_site_tbl[s] != Hb_False; });
}

Hb_Rc hb_get_first_configured_site_number(Hb_Site_Number *site, Hb_Cursor *cursor) {
    return process_site_number_list(site, cursor, 1);
}

Hb_Rc hb_get_next_configured_site_number(Hb_Site_Number *site, Hb_Cursor *cursor) {
    return process_site_number_list(site, cursor, 0);
}

static bool network_has_name(int network) {
    return hb_network_is_configured(static_cast<Hb_Network_Number>(network));
}

Hb_Rc process_network_number_list(Hb_Network_Number *network, Hb_Cursor *cursor, int first) {
    if (!hb_ready(network, cursor)) {
        return Hb_Failure;
    }
    return hb_iterate_numbers(network, HB_NO_NETWORK, cursor, first != 0, hb_network_bound(), network_has_name);
}

Hb_Rc hb_get_first_configured_network_number(Hb_Network_Number *network, Hb_Cursor *cursor) {
    return process_network_number_list(network, cursor, 1);
}

Hb_Rc hb_get_next_configured_network_number(Hb_Network_Number *network, Hb_Cursor *cursor) {
    return process_network_number_list(network, cursor, 0);
}

// Finds the next adapter in the list that satisfies `wanted`.
template <typename Wanted>
static Hb_Rc iterate_adapter_list(Hb_Adapter_Number *adapter, Hb_Cursor *cursor, bool first, Wanted wanted) {
    const auto adapters = hb_configured_adapters();
    return hb_iterate(
        adapter, HB_NO_ADAPTER, cursor, first, static_cast<int>(adapters.size()),
        [&](int i) { return wanted(adapters[static_cast<std::size_t>(i)]); },
        [&](int i) { return adapters[static_cast<std::size_t>(i)].Hb_adapter_num; });
}

Hb_Rc process_adapter_number_list(Hb_Adapter_Number *adapter, Hb_Cursor *cursor, int first) {
    if (!hb_ready(adapter, cursor)) {
        return Hb_Failure;
    }
    return iterate_adapter_list(adapter, cursor, first != 0, [](const Hb_Adapter_Entry &) { return true; });
}

Hb_Rc hb_get_first_configured_adapter_number(Hb_Adapter_Number *adapter, Hb_Cursor *cursor) {
    return process_adapter_number_list(adapter, cursor, 1);
}

Hb_Rc hb_get_next_configured_adapter_number(Hb_Adapter_Number *adapter, Hb_Cursor *cursor) {
    return process_adapter_number_list(adapter, cursor, 0);
}

Hb_Rc process_adapter_in_network_list(Hb_Network_Number network, Hb_Adapter_Number *adapter, Hb_Cursor *cursor,
                                      int first) {
    if (!hb_ready(adapter, cursor) || !hb_check_network(network)) {
        return Hb_Failure;
    }
    return iterate_adapter_list(adapter, cursor, first != 0, [network](const Hb_Adapter_Entry &entry) {
        return entry.Hb_network == network;
    });
}

Hb_Rc hb_get_first_configured_adapter_in_network(Hb_Network_Number network, Hb_Adapter_Number *adapter,
                                                 Hb_Cursor *cursor) {
    return process_adapter_in_network_list(network, adapter, cursor, 1);
}

Hb_Rc hb_get_next_configured_adapter_in_network(Hb_Network_Number network, Hb_Adapter_Number *adapter,
                                                Hb_Cursor *cursor) {
    return process_adapter_in_network_list(network, adapter, cursor, 0);
}

Hb_Rc process_adapter_in_node_list(Hb_Node_Number node, Hb_Adapter_Number *adapter, Hb_Cursor *cursor,
                                   int first) {
    if (!hb_ready(adapter, cursor) || !hb_check_node(node)) {
        return Hb_Failure;
    }
    return hb_iterate(
        adapter, HB_NO_ADAPTER, cursor, first != 0, hb_network_bound(),
        [node](int slot) { return hb_adapter_is_configured(adapter_in_slot(node, slot)); },
        [node](int slot) { return adapter_in_slot(node, slot); });
}

Hb_Rc hb_get_first_configured_adapter_in_node(Hb_Node_Number node, Hb_Adapter_Number *adapter,
                                              Hb_Cursor *cursor) {
    return process_adapter_in_node_list(node, adapter, cursor, 1);
}

Hb_Rc hb_get_next_configured_adapter_in_node(Hb_Node_Number node, Hb_Adapter_Number *adapter,
                                             Hb_Cursor *cursor) {
    return process_adapter_in_node_list(node, adapter, cursor, 0);
}

// ---- Look-ups ----

Hb_Rc hb_get_adapter_number_by_address(Hb_IP_address6 address, Hb_Adapter_Number *adapter) {
    if (!hb_ready(adapter)) {
        return Hb_Failure;
    }
    const Hb_Adapter_Entry *entry = hb_find_adapter_by_address(global_config_tbl, address);
    if (entry == nullptr) {
        *adapter = HB_NO_ADAPTER;
        return hb_fail(HB_ERROR_ADAPTER_NOT_CONFIGURED);
    }
    *adapter = hb_number_of(global_config_tbl, *entry);
    return Hb_Success;
}

Hb_Rc hb_get_adapter_number_by_node_number(Hb_Node_Number node, int offset, Hb_Adapter_Number *adapter) {
    if (!hb_ready(adapter) || !hb_check_node_range(node)) {
        return Hb_Failure;
    }
    if (offset < 0 || offset >= hb_network_bound()) {
        return hb_fail(HB_ERROR_BAD_ARGUMENT);
    }
    const Hb_Adapter_Number found = adapter_in_slot(node, offset);
    if (!hb_adapter_is_configured(found)) {
        return hb_fail(HB_ERROR_ADAPTER_NOT_CONFIGURED);
    }
    *adapter = found;
    return Hb_Success;
}

Hb_Rc hb_get_number_of_configured_adapters_in_node(Hb_Node_Number node, int *count) {
    if (!hb_ready(count) || !hb_check_node(node)) {
        return Hb_Failure;
    }
    int found = 0;
    Hb_Adapter_Run configured(global_config_tbl);
    for (int slot = 0; slot < hb_network_bound(); ++slot) {
        if (configured.find(adapter_in_slot(node, slot)) != nullptr) {
            ++found;
        }
    }
    *count = found;
    return Hb_Success;
}

Hb_Rc hb_get_node_number_by_adapter_number(Hb_Adapter_Number adapter, Hb_Node_Number *node) {
    if (!hb_ready(node) || !hb_check_adapter(adapter)) {
        return Hb_Failure;
    }
    // An adapter number that passed the checks implies at least one adapter per node, so this never divides
    // by 0.
    *node = static_cast<Hb_Node_Number>(adapter /
                                        static_cast<Hb_Adapter_Number>(global_config_tbl.Hb_adapters_per_node));
    hb_trace_values(HB_TRACE_INFO, HB_TR_NODE_BY_ADAPTER, adapter, *node);
    return Hb_Success;
}

static int as_length(std::size_t size) {
    return static_cast<int>(size);
}

Hb_Rc hb_get_adapter_type_by_number(Hb_Adapter_Number adapter, char *type) {
    if (!hb_ready(type) || !hb_check_adapter(adapter)) {
        return Hb_Failure;
    }
    hb_copy_text(type, hb_get_adap_entry(adapter)->Hb_adapter_type);
    if (hb_trace_on(HB_TRACE_INFO)) {
        const Hb_Errno_Keeper keeper;
        tr_ms_record_data_1(HB_TRACE_COMPONENT, HB_TR_TYPE_BY_ADAPTER, pTokens[HB_TRACE_INFO], 2, type,
                            as_length(std::strlen(type) + 1), &adapter, as_length(sizeof adapter));
    }
    return Hb_Success;
}

Hb_Rc hb_get_adapter_address_by_number(Hb_Adapter_Number adapter, Hb_IP_address6 *address) {
    if (!hb_ready(address) || !hb_check_adapter(adapter)) {
        return Hb_Failure;
    }
    *address = hb_get_adap_entry(adapter)->Hb_ip_address;
    if (hb_trace_on(HB_TRACE_INFO)) {
        const Hb_Errno_Keeper keeper;
        char text[INET6_ADDRSTRLEN];
        wisplib_ntop(address, text);
        tr_ms_record_data_1(HB_TRACE_COMPONENT, HB_TR_ADDRESS_BY_ADAPTER, pTokens[HB_TRACE_INFO], 2, text,
                            as_length(std::strlen(text) + 1), &adapter, as_length(sizeof adapter));
    }
    return Hb_Success;
}

Hb_Rc hb_get_network_name_by_number(Hb_Network_Number network, char *name) {
    if (!hb_ready(name) || !hb_check_network(network)) {
        return Hb_Failure;
    }
    hb_copy_text(name, global_config_tbl.Hb_global_network_list[network].Hb_network_name);
    return Hb_Success;
}

Hb_Rc hb_get_network_type_by_number(Hb_Network_Number network, char *type) {
    if (!hb_ready(type) || !hb_check_network_range(network)) {
        return Hb_Failure;
    }
    hb_copy_text(type, global_config_tbl.Hb_global_network_list[network].Hb_network_type);
    return Hb_Success;
}

static bool network_is_called(const Hb_Network_Entry &entry, const char *name) {
    const std::size_t length = hb_text_length(entry.Hb_network_name);
    return std::strlen(name) == length && std::memcmp(entry.Hb_network_name, name, length) == 0;
}

Hb_Rc hb_get_network_number_by_name(char *name, Hb_Network_Number *network) {
    if (!hb_ready(name, network)) {
        return Hb_Failure;
    }
    const int found = hb_walk(0, hb_network_bound(), [name](int n) {
        return network_has_name(n) && network_is_called(global_config_tbl.Hb_global_network_list[n], name);
    });
    if (found >= hb_network_bound()) {
        *network = HB_NO_NETWORK;
        return hb_fail(HB_ERROR_NETWORK_NOT_CONFIGURED);
    }
    *network = static_cast<Hb_Network_Number>(found);
    return Hb_Success;
}
