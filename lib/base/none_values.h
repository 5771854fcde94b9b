// SPDX-License-Identifier: Apache-2.0
// The numbers that stand for "none".
#pragma once

#include "hb_client.h"

inline constexpr Hb_Node_Number HB_NO_NODE = -1;
inline constexpr Hb_Network_Number HB_NO_NETWORK = -1;
inline constexpr Hb_Site_Number HB_NO_SITE = 65535;
inline constexpr Hb_Adapter_Number HB_NO_ADAPTER = 0xFFFFFFFF;
inline constexpr Hb_Incarnation HB_NOT_IN_GROUP = 0xFFFFFFFF;
