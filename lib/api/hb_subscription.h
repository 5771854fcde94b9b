// SPDX-License-Identifier: Apache-2.0
// Subscription groups and subscribing. hb_client.h declares the public functions.
#pragma once

#include "hb_client.h"

// `add` is 1 to add the member and 0 to remove it.
Hb_Rc hb_change_node_subscription_group(Hb_Subscription_Group *group, Hb_Node_Number node, int add);
Hb_Rc hb_change_adapter_subscription_group(Hb_Subscription_Group *group, Hb_Adapter_Number adapter, int add);
Hb_Rc hb_change_network_in_subscription_group(Hb_Subscription_Group *group, Hb_Network_Number network, int add);
Hb_Rc hb_change_site_subscription_group(Hb_Subscription_Group *group, Hb_Site_Number site, int add);

// `first` is 1 for the first member and 0 for the next.
Hb_Rc process_node_subscription(Hb_Subscription_Group *group, Hb_Node_Number *node, int first);
Hb_Rc process_adapter_subscription(Hb_Subscription_Group *group, Hb_Adapter_Number *adapter, int first);
Hb_Rc process_site_subscription(Hb_Subscription_Group *group, Hb_Site_Number *site, int first);

// The part of hb_subscribe that depends on the mode. In spite of its prefix it serves daemon mode too.
Hb_Rc MOX_handle_subscription(char *name, Hb_Subscription_Group *group);
