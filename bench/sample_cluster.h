// The largest cluster that there can be, as the daemon would describe it.
#ifndef BENCH_SAMPLE_CLUSTER_H
#define BENCH_SAMPLE_CLUSTER_H

#include <vector>

#include "lib/wire/hb_wire.h"

inline constexpr int SAMPLE_NODES = HB_NODE_SLOTS;
inline constexpr int SAMPLE_ADAPTERS_PER_NODE = HB_NETWORK_SLOTS;
inline constexpr int SAMPLE_ADAPTERS = HB_ADAPTER_SLOTS;

// A configuration record with every adapter of every node, each with an address of its own.
const std::vector<char> &sample_configuration_record();

// The address that the record gives to an adapter.
Hb_IP_address6 sample_address(Hb_Adapter_Number adapter);

// Loads the record into the library's table, and lets the library take itself for open.
void load_sample_cluster();

#endif
