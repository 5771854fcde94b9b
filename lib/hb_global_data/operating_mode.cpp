// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/operating_mode.h"

bool IsMOX = false;
bool migrate_to_mox_prep = false;
