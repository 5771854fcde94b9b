// SPDX-License-Identifier: Apache-2.0
// The process's view of the cluster's configuration.
#pragma once

#include <span>

#include "hb_client.h"
#include "utils/hash.h"

struct Hb_Node_Entry {
    Hb_Node_Number node_num;
    Hb_Entity_State state;
    Hb_Entity_State_Reason reason;
};

struct Hb_Site_Entry {
    Hb_Site_Number Hb_site_number;
    Hb_Entity_State Hb_state;
};

struct Hb_Configuration_Internal {
    Hb_Node_Number local_node_number;
    int Hb_max_nodes;         // node numbers run from 0 to this minus 1
    int Hb_num_nodes;         // entries in use in node_list
    int Hb_adapters_per_node; // the stride of adapter numbers
    int Hb_num_adapters;
    int Hb_num_networks;
    int Hb_max_sites;
    int Hb_num_sites;
    Hb_Adapter_Entry *Hb_global_adapter_list; // from new[], in the order of delivery
    Hb_Network_Entry Hb_global_network_list[HB_NETWORK_SLOTS];
    H_table_str *adap_hash; // adapter number to its entry; decides whether an adapter exists
    H_table_str *ip_hash; // address to its adapter; of several the daemon's first one or the service's last one
    H_table_str *node_hash; // node number to its entry
    H_table_str *site_hash;
    Hb_Node_Entry *node_list; // from new[], with HB_NODE_SLOTS entries
    Hb_Site_Entry *site_list;
    bool
        has_first_addresses; // ip_hash has every address, and leads to the first adapter with it; false: not known
    bool is_consecutive; // each adapter of the list has the number after the previous one's; false: not known
};

inline constexpr int HB_SITE_SLOTS = 2;

extern Hb_Configuration_Internal global_config_tbl;
extern Hb_Configuration_Internal global_config_tbl_new; // cluster-event mode builds the next table here
extern Hb_Boolean global_node_tbl[HB_NODE_SLOTS];       // whether the node owns an adapter
extern int global_num_nodes;
extern Hb_Boolean global_site_tbl[HB_SITE_SLOTS];
extern int global_num_sites;

extern const Hb_Adapter_Entry HB_INVALID_ADAP;
extern const Hb_IP_address6 HB_INVALID_ADDR;

// Returns the table's adapters in the order of the configuration.
std::span<const Hb_Adapter_Entry> hb_adapters_of(const Hb_Configuration_Internal &table);

// Returns whether each adapter of the list has a number of its own. Every adapter is indexed under its number when it
// is added, so a number that occurs twice leaves the index with fewer entries than the list.
bool hb_has_distinct_numbers(const Hb_Configuration_Internal &table);

// Returns the number of an adapter of the table's list. In a consecutive list it does not read the entry, which
// is seldom in a cache.
Hb_Adapter_Number hb_number_of(const Hb_Configuration_Internal &table, const Hb_Adapter_Entry &entry);

// Returns the adapter's entry, valid until the next load, or HB_INVALID_ADAP if there is no such adapter.
const Hb_Adapter_Entry *hb_get_adap_entry(Hb_Adapter_Number adapter);

// Frees and nulls the lists and hash tables that a load makes, and the site hash. The numbers stay.
void hb_release_table_lists(Hb_Configuration_Internal &table);

// Returns one above the highest adapter number that the table allows, at most HB_ADAPTER_SLOTS.
Hb_Adapter_Number hb_adapter_number_bound(const Hb_Configuration_Internal &table);
