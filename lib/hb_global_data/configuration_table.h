// The process's picture of the cluster's configuration.
#ifndef HB_CONFIGURATION_TABLE_H
#define HB_CONFIGURATION_TABLE_H

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
    int Hb_max_nodes;         // node numbers are 0 to this - 1
    int Hb_num_nodes;         // entries used in node_list
    int Hb_adapters_per_node; // stride of adapter numbers
    int Hb_num_adapters;
    int Hb_num_networks;
    int Hb_max_sites;
    int Hb_num_sites;
    Hb_Adapter_Entry *Hb_global_adapter_list; // new[], in the order of delivery
    Hb_Network_Entry Hb_global_network_list[HB_NETWORK_SLOTS];
    H_table_str *adap_hash; // adapter number to its entry; the authority on whether an adapter exists
    H_table_str *ip_hash; // address to an adapter that has it: the first by the daemon, the last by the service
    H_table_str *node_hash; // node number to its entry
    H_table_str *site_hash;
    Hb_Node_Entry *node_list; // new[] of HB_NODE_SLOTS
    Hb_Site_Entry *site_list;
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

// The adapter's entry, valid until the next load; HB_INVALID_ADAP when there is no such adapter.
const Hb_Adapter_Entry *hb_get_adap_entry(Hb_Adapter_Number adapter);

// Frees and nulls the lists and hash tables that a load makes, and the site hash; the numbers stay.
void hb_release_table_lists(Hb_Configuration_Internal &table);

// One past the highest adapter number of the table's geometry, never more than HB_ADAPTER_SLOTS.
Hb_Adapter_Number hb_adapter_number_bound(const Hb_Configuration_Internal &table);

#endif
