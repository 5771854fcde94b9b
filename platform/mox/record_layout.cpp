// SPDX-License-Identifier: Apache-2.0
// Checks at compile time the layout of the service's records for 32-bit pointers.
#include <cstddef>

#include "qz_mox.h"

#define SIZE(record, size) static_assert(sizeof(void *) != 4 || sizeof(record) == (size))
#define AT(record, field, offset) static_assert(sizeof(void *) != 4 || offsetof(record, field) == (offset))

static_assert(sizeof(qz_mox_uuid_t) == 16 && alignof(qz_mox_uuid_t) == 4);
static_assert(sizeof(qz_mox_IP_address6_t) == 16 && alignof(qz_mox_IP_address6_t) == 4);
static_assert(offsetof(qz_mox_v4_in_v6_t, filler) == 0 && offsetof(qz_mox_v4_in_v6_t, v4_in_v6_ipv4) == 12);

SIZE(qz_orb_event_metadata_t, 8);
AT(qz_orb_event_metadata_t, category, 0);
AT(qz_orb_event_metadata_t, event, 4);

SIZE(qz_orb_event_node_liveness_t, 28);
AT(qz_orb_event_node_liveness_t, event_type, 0);
AT(qz_orb_event_node_liveness_t, node_number, 4);
AT(qz_orb_event_node_liveness_t, node_id, 8);
AT(qz_orb_event_node_liveness_t, sequence_number, 16);
AT(qz_orb_event_node_liveness_t, reason_number, 24);

SIZE(qz_orb_event_adapter_liveness_t, 32);
AT(qz_orb_event_adapter_liveness_t, event_type, 0);
AT(qz_orb_event_adapter_liveness_t, node_number, 4);
AT(qz_orb_event_adapter_liveness_t, node_id, 8);
AT(qz_orb_event_adapter_liveness_t, sequence_number, 16);
AT(qz_orb_event_adapter_liveness_t, reason_number, 24);
AT(qz_orb_event_adapter_liveness_t, p_interface_name, 28);

SIZE(qz_orb_event_process_liveness_t, 28);
AT(qz_orb_event_process_liveness_t, event_type, 0);
AT(qz_orb_event_process_liveness_t, node_number, 4);
AT(qz_orb_event_process_liveness_t, node_id, 8);
AT(qz_orb_event_process_liveness_t, sequence_number, 16);
AT(qz_orb_event_process_liveness_t, p_command_name, 24);

SIZE(qz_orb_event_cluster_reconfig_t, 12);
AT(qz_orb_event_cluster_reconfig_t, sequence_number, 0);
AT(qz_orb_event_cluster_reconfig_t, reason_number, 8);

SIZE(qz_orb_event_node_cfg_t, 36);
AT(qz_orb_event_node_cfg_t, event_type, 0);
AT(qz_orb_event_node_cfg_t, node_number, 4);
AT(qz_orb_event_node_cfg_t, node_id, 8);
AT(qz_orb_event_node_cfg_t, sequence_number, 16);
AT(qz_orb_event_node_cfg_t, reason_number, 24);
AT(qz_orb_event_node_cfg_t, node_name, 28);
AT(qz_orb_event_node_cfg_t, next, 32);

SIZE(qz_orb_event_addr_cfg_t, 44);
AT(qz_orb_event_addr_cfg_t, event_type, 0);
AT(qz_orb_event_addr_cfg_t, node_number, 4);
AT(qz_orb_event_addr_cfg_t, node_id, 8);
AT(qz_orb_event_addr_cfg_t, sequence_number, 16);
AT(qz_orb_event_addr_cfg_t, reason_number, 24);
AT(qz_orb_event_addr_cfg_t, intf_name, 28);
AT(qz_orb_event_addr_cfg_t, ipaddr, 32);
AT(qz_orb_event_addr_cfg_t, netmask, 36);
AT(qz_orb_event_addr_cfg_t, next, 40);

SIZE(qz_orb_event_ip_change_t, 48);
AT(qz_orb_event_ip_change_t, event_type, 0);
AT(qz_orb_event_ip_change_t, node_number, 4);
AT(qz_orb_event_ip_change_t, node_id, 8);
AT(qz_orb_event_ip_change_t, sequence_number, 16);
AT(qz_orb_event_ip_change_t, reason_number, 24);
AT(qz_orb_event_ip_change_t, p_interface_name, 28);
AT(qz_orb_event_ip_change_t, ip_addr, 32);

SIZE(qz_orb_event_node_list_t, 28);
AT(qz_orb_event_node_list_t, event_type, 0);
AT(qz_orb_event_node_list_t, node_number, 4);
AT(qz_orb_event_node_list_t, node_id, 8);
AT(qz_orb_event_node_list_t, sequence_number, 16);
AT(qz_orb_event_node_list_t, reason_number, 24);

SIZE(qz_orb_event_repos_disk_t, 28);
AT(qz_orb_event_repos_disk_t, event_type, 0);
AT(qz_orb_event_repos_disk_t, node_number, 4);
AT(qz_orb_event_repos_disk_t, node_id, 8);
AT(qz_orb_event_repos_disk_t, sequence_number, 16);
AT(qz_orb_event_repos_disk_t, disk_name, 24);

SIZE(qz_orb_event_site_cfg_t, 104);
AT(qz_orb_event_site_cfg_t, event_type, 0);
AT(qz_orb_event_site_cfg_t, node_number, 4);
AT(qz_orb_event_site_cfg_t, node_id, 8);
AT(qz_orb_event_site_cfg_t, site_number, 24);
AT(qz_orb_event_site_cfg_t, site_id, 28);
AT(qz_orb_event_site_cfg_t, cluster_id, 44);
AT(qz_orb_event_site_cfg_t, sequence_number, 60);
AT(qz_orb_event_site_cfg_t, reason_number, 68);
AT(qz_orb_event_site_cfg_t, site_priority, 72);
AT(qz_orb_event_site_cfg_t, site_policy, 76);
AT(qz_orb_event_site_cfg_t, num_local_node_up, 80);
AT(qz_orb_event_site_cfg_t, num_remote_node_up, 84);
AT(qz_orb_event_site_cfg_t, event_reason, 88);
AT(qz_orb_event_site_cfg_t, node_name, 92);
AT(qz_orb_event_site_cfg_t, site_name, 96);
AT(qz_orb_event_site_cfg_t, next, 100);

SIZE(qz_orb_event_cap_up_t, 36);
AT(qz_orb_event_cap_up_t, event_type, 0);
AT(qz_orb_event_cap_up_t, node_number, 4);
AT(qz_orb_event_cap_up_t, node_id, 8);
AT(qz_orb_event_cap_up_t, clust_id, 16);
AT(qz_orb_event_cap_up_t, sequence_number, 24);
AT(qz_orb_event_cap_up_t, reason_number, 32);

SIZE(qz_mox_cluster_info_t, 96);
AT(qz_mox_cluster_info_t, local_node_number, 0);
AT(qz_mox_cluster_info_t, p_cluster_name, 4);
AT(qz_mox_cluster_info_t, cluster_id, 8);
AT(qz_mox_cluster_info_t, uuid, 72);
AT(qz_mox_cluster_info_t, cluster_shid, 88);
AT(qz_mox_cluster_info_t, cluster_type, 92);

SIZE(qz_mox_node_info_t, 56);
AT(qz_mox_node_info_t, number, 0);
AT(qz_mox_node_info_t, id, 4);
AT(qz_mox_node_info_t, p_name, 20);
AT(qz_mox_node_info_t, status, 24);
AT(qz_mox_node_info_t, site_id, 28);
AT(qz_mox_node_info_t, site_number, 44);
AT(qz_mox_node_info_t, cfg_op, 48);
AT(qz_mox_node_info_t, p_next, 52);

SIZE(qz_mox_net_intf_info_t, 76);
AT(qz_mox_net_intf_info_t, node_number, 0);
AT(qz_mox_net_intf_info_t, p_name, 4);
AT(qz_mox_net_intf_info_t, ip_addr, 8);
AT(qz_mox_net_intf_info_t, netmask, 24);
AT(qz_mox_net_intf_info_t, flags, 40);
AT(qz_mox_net_intf_info_t, type, 48);
AT(qz_mox_net_intf_info_t, hwaddr, 52);
AT(qz_mox_net_intf_info_t, status, 60);
AT(qz_mox_net_intf_info_t, cfg_op, 64);
AT(qz_mox_net_intf_info_t, caller_data, 68);
AT(qz_mox_net_intf_info_t, p_next, 72);

SIZE(qz_mox_site_info_t, 48);
AT(qz_mox_site_info_t, site_number, 0);
AT(qz_mox_site_info_t, site_id, 4);
AT(qz_mox_site_info_t, p_name, 20);
AT(qz_mox_site_info_t, site_policy, 24);
AT(qz_mox_site_info_t, site_priority, 28);
AT(qz_mox_site_info_t, status, 32);
AT(qz_mox_site_info_t, merge_flag, 36);
AT(qz_mox_site_info_t, nodes_up, 40);
AT(qz_mox_site_info_t, p_next, 44);

static_assert(sizeof(qz_mox_service_t) == 14 * sizeof(void *), "one pointer for each call");
