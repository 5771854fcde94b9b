// SPDX-License-Identifier: Apache-2.0
// Writes a configuration table as trace records.
#pragma once

#include "lib/hb_global_data/configuration_table.h"

// Gathers nothing while the "Info" detail is off.
void hb_mox_dump_global_table(Hb_Configuration_Internal *t, const char *label);
