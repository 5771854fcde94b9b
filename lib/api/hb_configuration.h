// SPDX-License-Identifier: Apache-2.0
// Queries over the configuration table. hb_client.h declares the public ones.
//
// Each first/next pair shares one function. `first` is 1 for the first item and 0 for the next.
#pragma once

#include "hb_client.h"

Hb_Rc process_node_number_list(Hb_Node_Number *node, Hb_Cursor *cursor, int first);
Hb_Rc process_site_number_list(Hb_Site_Number *site, Hb_Cursor *cursor, int first);
Hb_Rc process_network_number_list(Hb_Network_Number *network, Hb_Cursor *cursor, int first);
Hb_Rc process_adapter_number_list(Hb_Adapter_Number *adapter, Hb_Cursor *cursor, int first);
Hb_Rc process_adapter_in_network_list(Hb_Network_Number network, Hb_Adapter_Number *adapter, Hb_Cursor *cursor,
                                      int first);
Hb_Rc process_adapter_in_node_list(Hb_Node_Number node, Hb_Adapter_Number *adapter, Hb_Cursor *cursor,
                                   int first);
