// SPDX-License-Identifier: Apache-2.0
// Creates and frees the records that the queries return. Each record owns its memory.
#pragma once

#include <string>
#include <vector>

#include "providers/service/picture.h"
#include "qz_mox.h"

namespace mox_service {

qz_mox_cluster_info_t *make_cluster_info(const std::string &name, uint32_t local_node);
// Return null for an empty list.
qz_mox_node_info_t *make_list(const std::vector<Node> &nodes);
qz_mox_net_intf_info_t *make_list(const std::vector<Interface> &interfaces);

// Free what the functions above returned; null is permitted.
void free_list(qz_mox_cluster_info_t *info);
void free_list(qz_mox_node_info_t *list);
void free_list(qz_mox_net_intf_info_t *list);

} // namespace mox_service
