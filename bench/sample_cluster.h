// SPDX-License-Identifier: Apache-2.0
// The largest possible cluster, as the daemon would describe it.
#pragma once

#include <vector>

#include "lib/wire/hb_wire.h"

inline constexpr int SAMPLE_NODES = HB_NODE_SLOTS;
inline constexpr int SAMPLE_ADAPTERS_PER_NODE = HB_NETWORK_SLOTS;
inline constexpr int SAMPLE_ADAPTERS = HB_ADAPTER_SLOTS;

// Makes a configuration record with the first nodes, each with every adapter. Each adapter has its own address.
std::vector<char> configuration_record_of(int nodes);

// The same with every node.
const std::vector<char> &sample_configuration_record();

// Returns the address that the record gives to an adapter.
Hb_IP_address6 sample_address(Hb_Adapter_Number adapter);

// Loads the record into the library's table and marks the library as open.
void load_sample_cluster();
