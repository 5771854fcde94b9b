// SPDX-License-Identifier: Apache-2.0
// Checks that the user's numbers are in the configuration, and lists the right ones if they are not.
#pragma once

#include <cstdint>
#include <string>

#include "tools/hbctl/cluster_picture.h"

namespace hbctl {

// Each throws Request_Failed: "node 77 is not configured (nodes: 1-5)".
void require_node(int number, const Picture &picture);
void require_network(const std::string &number_or_name, const Picture &picture);
void require_adapter(std::uint32_t number, const Picture &picture);
void require_local_adapter(std::uint32_t number, const Picture &picture);

} // namespace hbctl
