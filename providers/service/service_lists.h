// What the queries give out, and take back when it is released. Each is memory of its own.
#pragma once

#include <string>
#include <vector>

#include "providers/service/picture.h"
#include "qz_mox.h"

namespace mox_service {

qz_mox_cluster_info_t *make_cluster_info(const std::string &name, uint32_t local_node);
// Null where there is none.
qz_mox_node_info_t *make_list(const std::vector<Node> &nodes);
qz_mox_net_intf_info_t *make_list(const std::vector<Interface> &interfaces);

// Null is nothing to give back.
void free_list(qz_mox_cluster_info_t *info);
void free_list(qz_mox_node_info_t *list);
void free_list(qz_mox_net_intf_info_t *list);

} // namespace mox_service
