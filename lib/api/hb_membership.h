// SPDX-License-Identifier: Apache-2.0
// Accessors over the membership group record. hb_client.h declares the public ones.
#pragma once

#include "hb_client.h"

// `first` is 1 for the first member and 0 for the next.
Hb_Rc process_node_group(Hb_Group *group, Hb_Node_Number *node, int first);
Hb_Rc process_adapter_group(Hb_Group *group, Hb_Adapter_Identifier *adapter, int first);
