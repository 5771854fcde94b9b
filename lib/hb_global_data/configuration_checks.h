// SPDX-License-Identifier: Apache-2.0
// Bounds of the configuration table, limited to the fixed arrays, and the checks of numbers that queries and
// subscriptions share.
#pragma once

#include <span>

#include "lib/hb_global_data/configuration_table.h"

// Each bound is one above the highest number.
int hb_node_bound();
int hb_network_bound(); // also the number of adapter slots of a node
int hb_site_bound();

// Returns the adapters in the order of the configuration.
std::span<const Hb_Adapter_Entry> hb_configured_adapters();

bool hb_adapter_is_configured(Hb_Adapter_Number adapter);
bool hb_network_is_configured(Hb_Network_Number network); // the number must be in range

// Each check returns true, or false with the error number set. HB_ERROR_BAD_ARGUMENT (4): out of range. The
// checks that go beyond the range also set 9 node, 7 adapter, 8 network, 84 site not configured.
bool hb_check_node_range(Hb_Node_Number node);
bool hb_check_node(Hb_Node_Number node);
bool hb_check_adapter_range(Hb_Adapter_Number adapter);
bool hb_check_adapter(Hb_Adapter_Number adapter);
bool hb_check_network_range(Hb_Network_Number network);
bool hb_check_network(Hb_Network_Number network);
bool hb_check_site(Hb_Site_Number site);
