// SPDX-License-Identifier: Apache-2.0
/* The records' sizes and offsets as a C program sees them; compiling this file is the test. */
#include <stddef.h>

#include "hb_client.h"

#define IS(name, condition) typedef char name[(condition) ? 1 : -1]

IS(group_size, sizeof(Hb_Group) == 393480);
IS(group_union, offsetof(Hb_Group, Hb_membership_grp_union) == 60);
IS(group_adapter_list,
   offsetof(Hb_Group, Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list) == 72);
IS(group_node_list, offsetof(Hb_Group, Hb_membership_grp_union.Hb_node_membership_grp.Hb_node_list) == 64);
IS(subscription_group_size, sizeof(Hb_Subscription_Group) == 12348);
IS(subscription_group_union, offsetof(Hb_Subscription_Group, Hb_subscription_grp_union) == 48);
IS(adapter_entry_size, sizeof(Hb_Adapter_Entry) == 64);
IS(adapter_entry_type, offsetof(Hb_Adapter_Entry, Hb_adapter_type) == 18);
IS(adapter_entry_number, offsetof(Hb_Adapter_Entry, Hb_adapter_num) == 56);
IS(adapter_entry_state, offsetof(Hb_Adapter_Entry, Hb_state) == 60);
IS(network_entry_size, sizeof(Hb_Network_Entry) == 86);
IS(network_entry_type, offsetof(Hb_Network_Entry, Hb_network_type) == 70);
IS(identifier_size, sizeof(Hb_Adapter_Identifier) == 12);
IS(address_size, sizeof(Hb_IP_address6) == 16);
IS(site_info_size, sizeof(Hb_Site_Info) == 68);
IS(diff_instance_size, sizeof(diff_instance_info) == 20);
IS(site_split_size, sizeof(site_split_info) == 136);
IS(site_merge_size, sizeof(site_merge_info) == 144);
IS(node_number_size, sizeof(Hb_Node_Number) == 2);
IS(site_number_size, sizeof(Hb_Site_Number) == 2);
IS(adapter_number_size, sizeof(Hb_Adapter_Number) == 4);
IS(success_value, Hb_Success == 2 && Hb_Failure == 3);
