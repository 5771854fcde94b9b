// SPDX-License-Identifier: Apache-2.0
// Clears the lists of a group record.
#pragma once

#include "hb_client.h"
#include "lib/base/none_values.h"

// Sets all 2049 entries of the node list to Hb_False.
void reset_node_membership_group_node_list(Hb_Group *group);

// Sets the first `count` entries of the adapter list to "not in the group".
void hb_clear_adapter_list(Hb_Group *group, Hb_Adapter_Number count);
