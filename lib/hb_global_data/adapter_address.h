// SPDX-License-Identifier: Apache-2.0
// Finds the adapter that has an address.
#pragma once

#include "lib/hb_global_data/configuration_table.h"

// Returns the first adapter in the table's list that has the address. Null: no adapter has it.
const Hb_Adapter_Entry *hb_find_adapter_by_address(const Hb_Configuration_Internal &table,
                                                   const Hb_IP_address6 &address);
