// What the configuration table lets a caller name: its bounds, cut at what the fixed arrays hold, and the
// checks of numbers that queries and subscriptions share.
#ifndef HB_CONFIGURATION_CHECKS_H
#define HB_CONFIGURATION_CHECKS_H

#include <span>

#include "lib/hb_global_data/configuration_table.h"

// One past the highest number.
int hb_node_bound();
int hb_network_bound(); // also the number of adapter slots of a node
int hb_site_bound();

// The adapters in the order of the configuration.
std::span<const Hb_Adapter_Entry> hb_configured_adapters();

bool hb_adapter_is_configured(Hb_Adapter_Number adapter);
bool hb_network_is_configured(Hb_Network_Number network); // in range only

// True, or false with the error number set: HB_ERROR_BAD_ARGUMENT (4) out of range. The checks of more than the
// range also give HB_ERROR_NODE_NOT_CONFIGURED (9), HB_ERROR_ADAPTER_NOT_CONFIGURED (7),
// HB_ERROR_NETWORK_NOT_CONFIGURED (8) or HB_ERROR_SITE_NOT_CONFIGURED (84).
bool hb_check_node_range(Hb_Node_Number node);
bool hb_check_node(Hb_Node_Number node);
bool hb_check_adapter_range(Hb_Adapter_Number adapter);
bool hb_check_adapter(Hb_Adapter_Number adapter);
bool hb_check_network_range(Hb_Network_Number network);
bool hb_check_network(Hb_Network_Number network);
bool hb_check_site(Hb_Site_Number site);

#endif
