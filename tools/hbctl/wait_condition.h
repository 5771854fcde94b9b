// SPDX-License-Identifier: Apache-2.0
// What `hbctl wait` waits for, and whether it has happened.
#pragma once

#include <cstdint>
#include <string>

#include "tools/hbctl/cluster_picture.h"

namespace hbctl {

enum class Wait_Subject { node, adapter, nodes, daemon };

struct Wait_Condition {
    Wait_Subject subject = Wait_Subject::node;
    std::uint32_t number = 0; // of the node or adapter, or how many nodes; unused for the daemon
    bool up = true;
    std::string name{}; // as the user typed it; empty: the user typed the number
};

// For nodes and adapters. A state that is not known yet is neither up nor down.
bool is_met(const Wait_Condition &condition, const Picture &picture);

// "node 3 is up", "node gamma is up", "at least 4 nodes are down", "the daemon is up"
std::string condition_text(const Wait_Condition &condition);

// "node 3 is not up"
std::string unmet_text(const Wait_Condition &condition);

} // namespace hbctl
