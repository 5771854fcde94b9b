// SPDX-License-Identifier: Apache-2.0
// A cluster as a cluster service reports it, in plain data.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qz_mox.h"

namespace mox_service {

struct Node {
    uint32_t number = 0;
    std::string name;
    qz_mox_node_status_t status = QZ_MOX_NODE_STATUS_UP;
    qz_mox_cfg_chg_op_t operation = QZ_MOX_CFG_OP_UNDEF;
    uint32_t site = 0;
};

struct Interface {
    uint32_t node = 0;
    std::optional<std::string> name; // empty: the text is null
    qz_mox_IP_address6_t address{};
    qz_mox_intf_status_t status = QZ_MOX_INTF_STATUS_UP;
    qz_mox_cfg_chg_op_t operation = QZ_MOX_CFG_OP_UNDEF;
};

struct Picture {
    std::vector<Node> nodes;
    std::vector<Interface> interfaces;
};

} // namespace mox_service
