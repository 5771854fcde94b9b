// SPDX-License-Identifier: Apache-2.0
// Finds what the user named by number or name in the configuration, and lists the right ones if it is not there.
#pragma once

#include <cstdint>
#include <string>

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/member_word.h"

namespace hbctl {

// Each throws Request_Failed: "node 77 is not configured (nodes: 1-5)".
void require_node(int number, const Picture &picture);
void require_network(const std::string &number_or_name, const Picture &picture);
void require_adapter(std::uint32_t number, const Picture &picture);
void require_local_adapter(std::uint32_t number, const Picture &picture);

// Each returns the number, which is configured. Throws Request_Failed also if two members have the name, or if no names
// are known.
int find_node(const Member_Word &word, const Picture &picture);
std::uint32_t find_adapter(const Member_Word &word, const Picture &picture);

} // namespace hbctl
